#include "TABLE.H"
#include "parts\sum.h"

int main(void) {
  return sum(table, COUNT(table)) != 0;
}
