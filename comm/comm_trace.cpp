#include "comm/comm_trace.h"

#include <utility>

namespace comm {
namespace {

TraceSink& Sink() {
  static TraceSink sink;
  return sink;
}

}  // namespace

TraceSink SetTraceSink(TraceSink sink) {
  return std::exchange(Sink(), std::move(sink));
}

void Trace(const std::string& line) {
  if (Sink()) Sink()(line);
}

}  // namespace comm
