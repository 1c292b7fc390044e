// msrsim: emulated card readers on pseudo-terminals or behind emulated HID bridges, for demos, training and
// tests of the configuration utility. See docs/msrsim.md.

#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/event_loop.h"
#include "platform/fd_io.h"
#include "platform/paths.h"
#include "platform/signals.h"
#include "registers/user_settings.h"
#include "sim/emulated_reader.h"
#include "sim/options.h"
#include "sim/reader_line.h"
#include "sim/register_file.h"

namespace {

constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

std::mutex g_output_mutex;

void PrintError(const std::string& message) {
  std::lock_guard lock(g_output_mutex);
  std::cerr << "msrsim: " << message << std::endl;
}

struct RunningReader {
  std::unique_ptr<msrsim::EmulatedReader> reader;
  std::string port_name;  // "COMn" or "HIDn" from --register; empty: not registered
  bool hid = false;
  bool registered = false;

  bool Register() const {
    return hid ? RegisterUserHidPort(port_name, reader->Path()) : RegisterUserPort(port_name, reader->Path());
  }
  void Unregister() const {
    if (hid) {
      UnregisterUserHidPort(port_name, reader->Path());
    } else {
      UnregisterUserPort(port_name, reader->Path());
    }
  }
};

// Lines typed on standard input swipe cards: an empty line on every reader, "n" on reader n, any other
// text as track data on every reader.
class KeyboardSwipes {
 public:
  KeyboardSwipes(platform::EventLoop& loop, std::vector<RunningReader>& readers) : readers_(readers) {
    watch_ = loop.WatchDescriptor(0, platform::kIoReadable, [this](unsigned) { OnInput(); });
  }

 private:
  void OnInput() {
    uint8_t buffer[512];
    const long n = platform::ReadFd(0, buffer, sizeof buffer);
    if (n <= 0) {
      // End of input, or a terminal we may not read (running in the background): stop listening.
      watch_->SetConditions(0);
      return;
    }
    for (long i = 0; i < n; ++i) {
      const char c = static_cast<char>(buffer[i]);
      if (c == '\n') {
        OnLine(pending_);
        pending_.clear();
      } else if (c != '\r') {
        pending_.push_back(c);
      }
    }
  }

  void OnLine(const std::string& line) {
    if (line.empty()) {
      for (RunningReader& r : readers_) r.reader->Swipe();
      return;
    }
    if (line.find_first_not_of("0123456789") == std::string::npos && line.size() < 4) {
      const size_t index = std::stoul(line);
      if (index >= 1 && index <= readers_.size()) {
        readers_[index - 1].reader->Swipe();
      } else {
        PrintError("there is no reader " + line);
      }
      return;
    }
    for (RunningReader& r : readers_) r.reader->Swipe(line);
  }

  std::vector<RunningReader>& readers_;
  std::unique_ptr<platform::LoopWatch> watch_;
  std::string pending_;
};

void StopAll(std::vector<RunningReader>& readers) {
  for (RunningReader& r : readers) {
    r.reader->Stop();
    if (r.registered) r.Unregister();
  }
}

// Saves the final image of every reader that asked for it (--save-cfg); the readers have stopped, so the
// images no longer change. False when a file could not be written.
bool SaveImages(const std::vector<RunningReader>& readers, const std::vector<msrsim::ReaderArgs>& args) {
  bool ok = true;
  for (size_t i = 0; i < readers.size(); ++i) {
    if (args[i].save_cfg.empty()) continue;
    const msrsim::EmulatedReader& reader = *readers[i].reader;
    const std::string& id = reader.Config().identification;
    std::string error;
    if (!msrsim::SaveRegisterFile(args[i].save_cfg, reader.Registers(), id.substr(0, id.find(',')), error)) {
      PrintError(error);
      ok = false;
    }
  }
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  platform::IgnorePipeAndBackgroundReadSignals();
  const int stop_fd = platform::StopSignalFd();

  msrsim::ProgramOptions options;
  std::string error;
  if (!msrsim::ParseCommandLine(std::vector<std::string>(argv + 1, argv + argc), options, error)) {
    PrintError(error);
    std::cerr << "Try 'msrsim --help'." << std::endl;
    return kExitUsage;
  }
  if (options.help) {
    std::cout << msrsim::HelpText() << std::flush;
    return kExitOk;
  }

  // Readers start from their model's factory image, kept beside the program as the configuration
  // utility keeps it, unless the command line gives an image.
  for (msrsim::ReaderArgs& reader : options.readers) {
    reader.factory_folder = platform::Join(platform::DataDir(), "Default");
  }

  // A --device that is not found automatically may be listed in the user's SerialPorts map.
  InstallUserPortMap();
  platform::PollEventLoop loop;
  std::ostream* log = options.log == msrsim::LogTarget::kStdout   ? &std::cout
                      : options.log == msrsim::LogTarget::kStderr ? &std::cerr
                                                                  : nullptr;
  // Each start draws its own faults unless a seed is given to replay a run.
  const uint64_t seed = options.seed.value_or(static_cast<uint64_t>(platform::MonotonicMicros()));
  if (log != nullptr) {
    std::lock_guard lock(g_output_mutex);
    *log << "seed " << seed << std::endl;
  }

  std::vector<RunningReader> readers;
  readers.reserve(options.readers.size());
  for (size_t i = 0; i < options.readers.size(); ++i) {
    msrsim::ReaderConfig config;
    if (!msrsim::BuildReaderConfig(options.readers[i], config, error)) {
      PrintError(error);
      return kExitUsage;
    }
    config.seed = seed + i;
    if (config.hid && config.hid_socket.empty())
      config.hid_socket = msrsim::DefaultHidSocketPath(static_cast<int>(i + 1));
    RunningReader running;
    running.reader = std::make_unique<msrsim::EmulatedReader>(config);
    running.hid = config.hid;
    running.port_name = config.hid ? options.readers[i].hid_name : options.readers[i].com_name;
    if (log != nullptr) {
      const std::string prefix = "[" + std::to_string(i + 1) + "] ";
      running.reader->on_log = [log, prefix](const std::string& line) {
        std::lock_guard lock(g_output_mutex);
        *log << prefix << line << std::endl;
      };
    }
    running.reader->on_line_closed = [&loop, &readers] {
      loop.Post([&loop, &readers] {
        for (const RunningReader& r : readers) {
          if (r.reader->LineOpen()) return;
        }
        loop.Quit(kExitOk);
      });
    };
    readers.push_back(std::move(running));
  }

  for (RunningReader& r : readers) {
    if (!r.reader->Start(&error)) {
      PrintError(error);
      StopAll(readers);
      return kExitFailure;
    }
    if (!r.port_name.empty()) {
      if (!r.Register()) {
        PrintError("cannot write " + r.port_name + " to " + UserSettingsPath());
        StopAll(readers);
        return kExitFailure;
      }
      r.registered = true;
    }
  }
  {
    std::lock_guard lock(g_output_mutex);
    for (const RunningReader& r : readers) {
      std::cout << r.reader->Path() << (r.port_name.empty() ? "" : " " + r.port_name) << '\n';
    }
    std::cout << std::flush;
  }

  std::unique_ptr<platform::LoopWatch> stop_watch;
  if (stop_fd >= 0) {
    stop_watch = loop.WatchDescriptor(stop_fd, platform::kIoReadable, [&loop](unsigned) {
      platform::TakeStopSignal();
      loop.Quit(kExitOk);
    });
  }
  KeyboardSwipes keys(loop, readers);

  const int code = loop.Run();
  StopAll(readers);
  if (!SaveImages(readers, options.readers)) return kExitFailure;
  return code;
}
