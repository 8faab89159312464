#include <cstdio>

int main() {
  std::puts("Usage: qeldumpcert [-f [Certificate_File]] [-p].");
  return 0;
}
