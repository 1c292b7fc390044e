#include "platform/clock.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>

namespace platform {
namespace {

std::atomic<uint32_t> g_tick_bias{0};

int64_t MonotonicNanos() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

}  // namespace

int32_t GetTickCount() {
  const auto ms = static_cast<uint64_t>(MonotonicNanos() / 1'000'000);
  // The low 32 bits, reinterpreted as signed: the counter runs through negative values before it wraps to 0.
  return static_cast<int32_t>(static_cast<uint32_t>(ms) + g_tick_bias.load(std::memory_order_relaxed));
}

void SetTickBiasForTesting(uint32_t bias) { g_tick_bias.store(bias, std::memory_order_relaxed); }

int64_t MonotonicMs() { return MonotonicNanos() / 1'000'000; }
int64_t MonotonicMicros() { return MonotonicNanos() / 1'000; }

std::string LocalTimeHms() {
  const time_t now = time(nullptr);
  tm local{};
  localtime_r(&now, &local);
  char text[16];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", local.tm_hour, local.tm_min, local.tm_sec);
  return text;
}

std::string UtcTimeIso8601() {
  const time_t now = time(nullptr);
  tm utc{};
  gmtime_r(&now, &utc);
  char text[32];
  // strftime's numbers do not depend on the locale.
  return std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc) > 0 ? text : "";
}

void SleepMs(int ms) { SleepMicros(static_cast<int64_t>(ms) * 1000); }

void SleepMicros(int64_t us) {
  if (us <= 0) return;
  timespec req{static_cast<time_t>(us / 1'000'000), static_cast<long>((us % 1'000'000) * 1000)};
  while (nanosleep(&req, &req) != 0 && errno == EINTR) {
  }
}

}  // namespace platform
