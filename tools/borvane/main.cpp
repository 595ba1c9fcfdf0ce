#include <cstdio>

int main() {
  std::puts("borvane");
  return 0;
}
