#include "log/api/log_call.h"

namespace dunmar {

namespace {

LogCallFunction currentLogCall = nullptr;

}  // namespace

LogCallFunction LogCall() { return currentLogCall; }

void SetLogCall(LogCallFunction logCall) { currentLogCall = logCall; }

}  // namespace dunmar
