#include <table.h>

word table[TABLE_SIZE] = { 1, 2, 3 };
