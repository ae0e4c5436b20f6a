#pragma once
// The trace of the module: the facility "FabrionSm", and the one statement by which all handlers
// trace.
//
// Levels: 0 a conflict resolved by removing configuration, 1 a misuse, 2 an event at the edge of
// the system, 3 a change to the model or the output and a request ignored, 9 the entry of a
// handler.

#include "platform/Velo/Trace.h"

namespace Fabrion::Agent {

struct FabrionTrace {
  static Velo::TraceHandle& handle() {
    // Never destroyed: what ends in the last moments of the process still traces.
    static Velo::TraceHandle& facility = *new Velo::TraceHandle("FabrionSm", false);
    return facility;
  }
};

}  // namespace Fabrion::Agent

#define FABRION_TRACE(level, ...) VELO_TRACE(::Fabrion::Agent::FabrionTrace, level, __VA_ARGS__)
