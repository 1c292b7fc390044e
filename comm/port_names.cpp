#include "comm/port_names.h"

#include <utility>

#include "comm/comm_value.h"

namespace comm {
namespace {

constexpr size_t kMaxEntries = 256;
constexpr size_t kMaxNameLength = 7;
constexpr std::string_view kSerialPrefix = "COM";

// The names sorted here all carry the prefix: SerialPortNames let no other through.
double PortNumber(const std::string& name) {
  return SerialPortNumber(name).value_or(0);
}

}  // namespace

std::optional<double> SerialPortNumber(std::string_view name) {
  if (name.substr(0, kSerialPrefix.size()) != kSerialPrefix) return std::nullopt;
  return LeadingNumber(name.substr(kSerialPrefix.size()));
}

std::vector<std::string> SerialPortNames(const std::vector<platform::SerialPortInfo>& ports) {
  std::vector<std::string> names;
  for (size_t i = 0; i < ports.size() && i < kMaxEntries; ++i) {
    const std::string& name = ports[i].name;
    if (name.size() > kMaxNameLength) break;
    if (name.compare(0, kSerialPrefix.size(), kSerialPrefix) == 0) names.push_back(name);
  }
  SortPortNamesByNumber(names);
  return names;
}

void SortPortNamesByNumber(std::vector<std::string>& names) {
  // A plain exchange sort: with at most 256 names its cost does not matter, and port numbers are unique,
  // so the order among equal numbers never comes up in practice.
  for (size_t i = 0; i + 1 < names.size(); ++i) {
    for (size_t j = i + 1; j < names.size(); ++j) {
      if (PortNumber(names[j]) < PortNumber(names[i])) std::swap(names[i], names[j]);
    }
  }
}

}  // namespace comm
