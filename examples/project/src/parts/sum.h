#include <types.h>

word sum(const word* values, unsigned count);
