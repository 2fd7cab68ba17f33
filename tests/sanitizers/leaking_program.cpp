#include <cstdio>
#include <cstdlib>

// Loses a block of memory, so that it can be seen whether losing one is noticed.
int main() {
  void* volatile lost = std::malloc(1234);
  lost = nullptr;
  std::puts(lost == nullptr ? "lost" : "kept");
  return 0;
}
