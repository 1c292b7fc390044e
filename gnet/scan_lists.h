#pragma once
// The lists a port scan works through, built from the settings file's texts: the line settings to try,
// the module-name patterns an answer must meet, and the preferred port's name in its usual form.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace gnet {

// The settings entries to try, the preferred `baud_rate` first. The rest of `baud_rates` (every
// "<baud_rate>," taken out) is tried after it only when it begins with ","; without that comma only the
// preferred rate is tried, which is how a settings file says "this rate or nothing". The list always ends
// with an empty entry (the trailing comma), which keeps the line as it is. E.g. (",9600,38400", 19200)
// gives 19200, 9600, 38400, "".
std::vector<std::string> ScanRateList(const std::string& baud_rates, int32_t baud_rate);

// The patterns of a comma-separated list, upper-cased; an empty text gives none.
std::vector<std::string> ScanModulePatterns(const std::string& module_names);

// True when the upper-cased `answer` contains one of `patterns` or matches it with the Like rules.
// An empty answer matches nothing.
bool MatchesModule(const std::string& answer, const std::vector<std::string>& patterns);

// Trimmed, upper-cased, and "COM" with the number written plainly: " com03" gives "COM3".
std::string NormalizeScanPort(const std::string& port);

// The rate an entry names: the number it starts with, 0 when none.
int32_t RateOfEntry(const std::string& entry);

}  // namespace gnet
