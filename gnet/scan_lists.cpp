#include "gnet/scan_lists.h"

#include <cmath>
#include <cstdio>

#include "comm/comm_value.h"
#include "comm/port_names.h"
#include "gnet/like_pattern.h"
#include "platform/text.h"

namespace gnet {
namespace {

constexpr const char* kComPrefix = "COM";

// Every occurrence of `what` taken out, left to right.
std::string RemoveAll(std::string text, const std::string& what) {
  if (what.empty()) return text;
  for (size_t pos = text.find(what); pos != std::string::npos; pos = text.find(what, pos))
    text.erase(pos, what.size());
  return text;
}

// A number as the settings texts write it: whole numbers without a fraction.
std::string NumberText(double value) {
  if (value == std::trunc(value) && std::fabs(value) < 1e15)
    return std::to_string(static_cast<int64_t>(value));
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.15g", value);
  return buffer;
}

}  // namespace

std::vector<std::string> ScanRateList(const std::string& baud_rates, int32_t baud_rate) {
  const std::string preferred = std::to_string(baud_rate);
  const std::string rest = RemoveAll(baud_rates + ",", preferred + ",");
  const std::string rate_text = !rest.empty() && rest[0] == ',' ? preferred + rest : preferred;
  return platform::text::Split(rate_text, ',');
}

std::vector<std::string> ScanModulePatterns(const std::string& module_names) {
  if (module_names.empty()) return {};
  return platform::text::Split(platform::text::Upper(module_names), ',');
}

bool MatchesModule(const std::string& answer, const std::vector<std::string>& patterns) {
  if (answer.empty()) return false;
  const std::string upper = platform::text::Upper(answer);
  for (const std::string& pattern : patterns) {
    if (upper.find(pattern) != std::string::npos || MatchLike(upper, pattern)) return true;
  }
  return false;
}

std::string NormalizeScanPort(const std::string& port) {
  const std::string name = platform::text::Upper(platform::text::Trim(port, platform::text::kSpaces));
  const std::optional<double> number = comm::SerialPortNumber(name);
  return number ? kComPrefix + NumberText(*number) : name;
}

int32_t RateOfEntry(const std::string& entry) {
  return comm::RoundToInt32(comm::LeadingNumber(entry)).value_or(0);
}

}  // namespace gnet
