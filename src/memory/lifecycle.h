// What the allocators of this folder do at the ends of a unit and of the run.
// Only memory.cpp calls these.

#pragma once

#include "base.h"

// Gives up every block of the pool; the last one releases the kept chunk too.
void poolEndUnit();
void poolStop();

// Gives the reservation of the SAVE region back.
void releaseSAVEmem();
