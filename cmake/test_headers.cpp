// Nothing of its own: a program for the tests' precompiled headers to belong to.
int main() { return 0; }
