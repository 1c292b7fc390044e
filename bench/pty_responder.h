#pragma once
// A minimal reader for benchmarks: on a worker thread it answers every frame (bytes up to CR) on the
// master side of a pty with a fixed reply, at once, or reads and ignores everything.

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>

#include "gnet/ucGNet.h"
#include "platform/fd_io.h"
#include "platform/pty.h"
#include "platform/serial_registry.h"

class PtyResponder {
 public:
  // An empty `reply` never answers.
  explicit PtyResponder(std::string reply) : reply_(std::move(reply)) {}
  ~PtyResponder() { Stop(); }

  bool Start(std::string& error) {
    if (!platform::OpenPty(pty_, error)) return false;
    thread_ = std::thread([this] { Serve(); });
    return true;
  }
  void Stop() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    platform::ClosePty(pty_);
  }
  const platform::PtyPair& Pty() const { return pty_; }

  // Names the pty COM250 and opens `gnet` on it at 19200 baud. False (with a message printed) on failure.
  bool OpenEngine(ucGNet& gnet) const {
    const std::string device = pty_.slave_path;
    platform::SetUserPortMapSource([device] { return std::vector<platform::PortMapEntry>{{"COM250", device}}; });
    gnet.SetCommPort("COM250");
    gnet.SetPortOpen(true);
    if (!gnet.PortOpen()) {
      std::fprintf(stderr, "cannot open %s\n", device.c_str());
      return false;
    }
    gnet.SetSettings("19200,N,8,1");
    return true;
  }

 private:
  void Serve() {
    uint8_t buffer[512];
    while (!stop_) {
      if (platform::WaitReadable(pty_.master_fd, 50) <= 0) continue;
      const long n = platform::ReadFd(pty_.master_fd, buffer, sizeof buffer);
      for (long i = 0; i < n; ++i) {
        if (buffer[i] != '\r' || reply_.empty()) continue;
        platform::WriteFd(pty_.master_fd, reinterpret_cast<const uint8_t*>(reply_.data()), reply_.size());
      }
    }
  }

  std::string reply_;
  platform::PtyPair pty_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};
