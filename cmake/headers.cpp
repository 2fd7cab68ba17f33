// Nothing of its own: the precompiled headers have to belong to something.
int main() { return 0; }
