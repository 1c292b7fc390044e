// The numbering rules of the serial port registry. Finding the devices is the system's part
// (platform/linux/serial_registry.cpp); this file only decides which "COM" number each one gets.
#include <algorithm>
#include <array>
#include <optional>

#include "platform/serial_registry.h"
#include "platform/text.h"

namespace platform {
namespace {

constexpr int kHighestPort = 256;

// Whole number of a run of digits, or nothing when it is out of 1..kHighestPort.
std::optional<int> PortNumber(const std::string& digits) {
  if (!text::AllDigits(digits) || digits.size() > 4) return std::nullopt;
  const int number = std::stoi(digits);
  if (number < 1 || number > kHighestPort) return std::nullopt;
  return number;
}

// "COM3" in any case, with blanks around it.
std::optional<int> UserPortNumber(const std::string& entry) {
  const std::string name = text::Trim(entry);
  if (name.size() < 4 || !text::StartsWithNoCase(name, "COM")) return std::nullopt;
  return PortNumber(name.substr(3));
}

std::string BaseName(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// ttySn is the n-th on-board UART, known to the user as COM(n+1).
std::optional<int> OnBoardPortNumber(const std::string& device) {
  const std::string name = BaseName(device);
  if (name.size() < 5 || name.compare(0, 4, "ttyS") != 0) return std::nullopt;
  const std::string index = name.substr(4);
  if (!text::AllDigits(index) || index.size() > 4) return std::nullopt;
  const int number = std::stoi(index) + 1;
  if (number > kHighestPort) return std::nullopt;
  return number;
}

// Orders "ttyUSB2" before "ttyUSB10": runs of digits compare by value.
bool NaturalLess(const std::string& a, const std::string& b) {
  size_t i = 0;
  size_t j = 0;
  while (i < a.size() && j < b.size()) {
    const bool digit_a = text::IsDigit(a[i]);
    const bool digit_b = text::IsDigit(b[j]);
    if (digit_a && digit_b) {
      size_t end_a = i;
      size_t end_b = j;
      while (end_a < a.size() && text::IsDigit(a[end_a])) ++end_a;
      while (end_b < b.size() && text::IsDigit(b[end_b])) ++end_b;
      size_t start_a = i;
      size_t start_b = j;
      while (start_a + 1 < end_a && a[start_a] == '0') ++start_a;
      while (start_b + 1 < end_b && b[start_b] == '0') ++start_b;
      if (end_a - start_a != end_b - start_b) return end_a - start_a < end_b - start_b;
      const int order = a.compare(start_a, end_a - start_a, b, start_b, end_b - start_b);
      if (order != 0) return order < 0;
      i = end_a;
      j = end_b;
    } else {
      if (a[i] != b[j]) return a[i] < b[j];
      ++i;
      ++j;
    }
  }
  return a.size() - i < b.size() - j;
}

class NumberPlan {
 public:
  bool Taken(int number) const { return taken_[static_cast<size_t>(number)]; }

  void Add(int number, const FoundDevice& found, bool from_user_map) {
    taken_[static_cast<size_t>(number)] = true;
    ports_.push_back({number, "COM" + std::to_string(number), found.device, found.description, from_user_map,
                      found.usb_serial});
  }

  // The lowest free number, 0 when all are taken. The reader scan only tries COM1 to COM16, so adapters
  // must get the low numbers that on-board ports and the user's entries left over.
  int LowestFree() const {
    for (int number = 1; number <= kHighestPort; ++number) {
      if (!Taken(number)) return number;
    }
    return 0;
  }

  std::vector<SerialPortInfo> Sorted() {
    std::sort(ports_.begin(), ports_.end(),
              [](const SerialPortInfo& a, const SerialPortInfo& b) { return a.number < b.number; });
    return std::move(ports_);
  }

 private:
  std::array<bool, kHighestPort + 1> taken_{};
  std::vector<SerialPortInfo> ports_;
};

}  // namespace

std::vector<SerialPortInfo> AssignPortNumbers(const std::vector<FoundDevice>& devices,
                                              const std::vector<PortMapEntry>& user_map) {
  NumberPlan plan;
  std::vector<std::string> claimed_devices;
  auto claimed = [&claimed_devices](const std::string& device) {
    return std::find(claimed_devices.begin(), claimed_devices.end(), device) != claimed_devices.end();
  };

  // The user's entries first: they win both their number and their device. The first entry for a
  // number or a device counts.
  for (const PortMapEntry& entry : user_map) {
    const std::optional<int> number = UserPortNumber(entry.name);
    if (!number || entry.device.empty() || plan.Taken(*number) || claimed(entry.device)) continue;
    // A user entry may name a device that sysfs also found: it keeps what sysfs knows about it.
    FoundDevice known{entry.device, ""};
    for (const FoundDevice& found : devices) {
      if (found.device == entry.device) known = found;
    }
    plan.Add(*number, known, true);
    claimed_devices.push_back(entry.device);
  }

  // On-board UARTs keep their fixed numbers; whatever is left (adapters, and a UART whose number the
  // user gave away) takes free numbers in name order, so the same hardware gets the same numbers.
  std::vector<const FoundDevice*> unnumbered;
  for (const FoundDevice& found : devices) {
    if (found.device.empty() || claimed(found.device)) continue;
    claimed_devices.push_back(found.device);
    const std::optional<int> fixed = OnBoardPortNumber(found.device);
    if (fixed && !plan.Taken(*fixed)) {
      plan.Add(*fixed, found, false);
    } else {
      unnumbered.push_back(&found);
    }
  }
  std::stable_sort(unnumbered.begin(), unnumbered.end(), [](const FoundDevice* a, const FoundDevice* b) {
    return NaturalLess(a->device, b->device);
  });
  for (const FoundDevice* found : unnumbered) {
    const int number = plan.LowestFree();
    if (number == 0) break;
    plan.Add(number, *found, false);
  }
  return plan.Sorted();
}

}  // namespace platform
