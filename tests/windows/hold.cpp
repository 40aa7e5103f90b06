// Sleeps until it is ended: while it runs, Wine's services stay up, and each run of a test starts fast.

#include <windows.h>

int main() {
  Sleep(INFINITE);
}
