// The state of the floating-point units, which a component may leave changed.
//
// By instructions: the C library has its routines for this in its library of
// mathematics, and to load that took 80 us and 10 page faults of each start.

#pragma once

#include "base.h"

struct FloatState {
  uint32_t x87[7];  // as fnstenv stores it
  uint32_t sse;
};

inline FloatState floatState() {
  FloatState state;
  // fnstenv masks all exceptions, so what it has stored is loaded again.
  asm volatile("fnstenv %0\n\tfldenv %0" : "=m"(state.x87));
#ifdef __SSE__
  asm volatile("stmxcsr %0" : "=m"(state.sse));
#else
  state.sse = 0;
#endif
  return state;
}

inline void setFloatState(const FloatState& state) {
  asm volatile("fldenv %0"
               :
               : "m"(state.x87)
               : "st", "st(1)", "st(2)", "st(3)", "st(4)", "st(5)", "st(6)", "st(7)");
#ifdef __SSE__
  asm volatile("ldmxcsr %0" : : "m"(state.sse));
#endif
}
