/* A table of words; two of the units use it. */
#ifndef TABLE_H
#define TABLE_H

#include "types.h"
#define TABLE_SIZE 16
extern word table[TABLE_SIZE];

#endif
