// The numbering rules of the HID bridge list, and the list itself. Finding the hidraw nodes is the
// system's part (platform/linux/hid_ports_udev.cpp).
#include "platform/hid_ports.h"

#include <algorithm>
#include <array>
#include <climits>
#include <filesystem>
#include <mutex>

#include "platform/file_system.h"
#include "platform/seqpacket.h"
#include "platform/text.h"

namespace platform {
namespace {

constexpr std::string_view kHidPrefix = "HID";
constexpr std::string_view kNodePrefix = "hidraw";
constexpr const char* kEmulatedProduct = "msrsim bridge";

// A run of at most four digits, as a whole number.
std::optional<int> SmallNumber(std::string_view digits) {
  if (!text::AllDigits(digits) || digits.size() > 4) return std::nullopt;
  return std::stoi(std::string(digits));
}

// "HID2" in any case, with blanks around it.
std::optional<int> UserHidNumber(const std::string& entry) {
  const std::string name = text::Trim(entry);
  if (!text::StartsWithNoCase(name, kHidPrefix)) return std::nullopt;
  const std::optional<int> number = SmallNumber(std::string_view(name).substr(kHidPrefix.size()));
  if (!number || *number < 1 || *number > kHighestHidNumber) return std::nullopt;
  return number;
}

// The kernel numbers hidraw nodes itself and keeps a node's number while its device stays plugged in.
std::optional<int> NodeHidNumber(const std::string& device) {
  const size_t slash = device.rfind('/');
  const std::string_view name = std::string_view(device).substr(slash == std::string::npos ? 0 : slash + 1);
  if (name.substr(0, kNodePrefix.size()) != kNodePrefix) return std::nullopt;
  const std::optional<int> index = SmallNumber(name.substr(kNodePrefix.size()));
  if (!index || *index + 1 > kHighestHidNumber) return std::nullopt;
  return *index + 1;
}

// Two names of one node (a link and its target) count as one.
std::string Resolve(const std::string& path) {
  std::error_code ec;
  const std::filesystem::path real = std::filesystem::canonical(path, ec);
  return ec ? path : real.string();
}

class HidNumberPlan {
 public:
  bool Taken(int number) const { return taken_[static_cast<size_t>(number)]; }
  // False when the node was claimed before: the first line or listing of a node counts.
  bool Claim(const std::string& node) {
    if (std::find(nodes_.begin(), nodes_.end(), node) != nodes_.end()) return false;
    nodes_.push_back(node);
    return true;
  }
  void Add(HidPortInfo port) {
    taken_[static_cast<size_t>(port.number)] = true;
    port.name = std::string(kHidPrefix) + std::to_string(port.number);
    ports_.push_back(std::move(port));
  }
  int LowestFree() const {
    for (int number = 1; number <= kHighestHidNumber; ++number) {
      if (!Taken(number)) return number;
    }
    return 0;
  }
  std::vector<HidPortInfo> Sorted() {
    std::sort(ports_.begin(), ports_.end(),
              [](const HidPortInfo& a, const HidPortInfo& b) { return a.number < b.number; });
    return std::move(ports_);
  }

 private:
  std::array<bool, kHighestHidNumber + 1> taken_{};
  std::vector<std::string> nodes_;
  std::vector<HidPortInfo> ports_;
};

HidPortInfo PortOf(int number, const FoundHidDevice& found) {
  HidPortInfo port;
  port.number = number;
  port.device = found.device;
  port.product = found.product;
  port.serial = found.serial;
  return port;
}

struct HidListConfig {
  PortMapSource user_map;
  std::optional<std::vector<FoundHidDevice>> test_devices;
};

std::mutex g_mutex;
HidListConfig g_config;

}  // namespace

bool IsHidBridgeId(const std::string& hid_id) {
  const std::vector<std::string> fields = text::Split(hid_id, ':');
  auto holds = [](const std::string& field, unsigned value) {
    return text::AllDigits(field, true) && field.size() <= 8 && std::stoul(field, nullptr, 16) == value;
  };
  return fields.size() == 3 && text::AllDigits(fields[0], true) && holds(fields[1], kHidBridgeVendor) &&
         holds(fields[2], kHidBridgeProduct);
}

std::vector<HidPortInfo> AssignHidNumbers(const std::vector<FoundHidDevice>& devices,
                                          const std::vector<PortMapEntry>& user_map) {
  HidNumberPlan plan;
  auto found_at = [&devices](const std::string& node) -> const FoundHidDevice* {
    for (const FoundHidDevice& found : devices) {
      if (Resolve(found.device) == node) return &found;
    }
    return nullptr;
  };

  // The user's lines first: they win both their number and their node. A line whose node or socket is
  // gone (a bridge unplugged, an emulator ended) names nothing and gives its number back.
  for (const PortMapEntry& entry : user_map) {
    const std::optional<int> number = UserHidNumber(entry.name);
    if (!number || entry.device.empty() || plan.Taken(*number)) continue;
    const std::string node = Resolve(entry.device);
    HidPortInfo port;
    if (const FoundHidDevice* found = found_at(node)) {
      port = PortOf(*number, *found);
    } else if (IsSocketFile(node)) {
      port.number = *number;
      port.product = kEmulatedProduct;
      port.emulated = true;
    } else if (GetFileAttributes(node).exists) {
      port.number = *number;
    } else {
      continue;
    }
    if (!plan.Claim(node)) continue;
    port.device = entry.device;  // as the user wrote it: a link stays valid when nodes are renumbered
    port.from_user_map = true;
    plan.Add(std::move(port));
  }

  // A bridge on its node's own number keeps it, whatever else is plugged in or out. Only a bridge whose
  // number the user gave away takes the lowest free one, in node order.
  std::vector<const FoundHidDevice*> displaced;
  for (const FoundHidDevice& found : devices) {
    if (found.device.empty() || !plan.Claim(Resolve(found.device))) continue;
    const std::optional<int> own = NodeHidNumber(found.device);
    if (own && !plan.Taken(*own)) {
      plan.Add(PortOf(*own, found));
    } else {
      displaced.push_back(&found);
    }
  }
  auto order = [](const FoundHidDevice* found) {
    return std::make_pair(NodeHidNumber(found->device).value_or(INT_MAX), found->device);
  };
  std::stable_sort(
      displaced.begin(), displaced.end(),
      [&order](const FoundHidDevice* a, const FoundHidDevice* b) { return order(a) < order(b); });
  for (const FoundHidDevice* found : displaced) {
    const int number = plan.LowestFree();
    if (number == 0) break;
    plan.Add(PortOf(number, *found));
  }
  return plan.Sorted();
}

void SetUserHidPortMapSource(PortMapSource source) {
  std::lock_guard lock(g_mutex);
  g_config.user_map = std::move(source);
}

void SetHidDevicesForTesting(std::optional<std::vector<FoundHidDevice>> devices) {
  std::lock_guard lock(g_mutex);
  g_config.test_devices = std::move(devices);
}

std::vector<HidPortInfo> ListHidPorts() {
  HidListConfig config;
  {
    std::lock_guard lock(g_mutex);
    config = g_config;
  }
  const std::vector<FoundHidDevice> devices =
      config.test_devices ? *config.test_devices : FindHidBridgeNodes();
  return AssignHidNumbers(devices, config.user_map ? config.user_map() : std::vector<PortMapEntry>{});
}

std::optional<HidPortInfo> FindHidPort(int number) {
  for (HidPortInfo& port : ListHidPorts()) {
    if (port.number == number) return std::move(port);
  }
  return std::nullopt;
}

}  // namespace platform
