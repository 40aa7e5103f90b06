/* What all units share. */
#ifndef TYPES_H
#define TYPES_H

#if TARGET == 2
typedef unsigned long word;
#else
typedef unsigned short word;
#endif
#define COUNT(array) (sizeof (array) / sizeof (array)[0])

#endif
