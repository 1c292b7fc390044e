#include "app/station_worker.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "app/console_batch.h"
#include "app/console_output.h"
#include "app/console_trace.h"
#include "app/frmMain.h"
#include "app/station_messages.h"
#include "app/trap.h"
#include "gnet/scan_lists.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/event_loop.h"
#include "platform/fd_io.h"
#include "platform/signals.h"
#include "platform/text.h"

namespace {

// How often a port is looked at when no device event says so: a pseudo-terminal or a reader on an
// adapter that stays plugged in gives no event.
constexpr int kProbeIntervalMs = 1000;
// Polls in a row that a written reader may miss before it counts as gone: one lost reply on a noisy line
// must not get a reader written twice.
constexpr int kMissesUntilGone = 2;
constexpr int kStandardInput = 0;

// A console line without its line break, a note also without the program's name before it: the station
// puts the port's name there instead.
std::string Bare(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  constexpr std::string_view kProgram = "msrcfg: ";
  if (text.compare(0, kProgram.size(), kProgram) == 0) text.erase(0, kProgram.size());
  return text;
}

class StationWorker {
 public:
  StationWorker(frmMain& window, const ConsoleRequest& request)
      : window_(window), engine_(window.ucGNet), request_(request), port_(request.port) {
    settings_ = request.port_settings;
  }

  int Run() {
    platform::EventLoop& loop = platform::CurrentEventLoop();
    probe_timer_ = loop.CreateTimer([this] { Trap("Probe", [this] { Probe(); }); });
    probe_timer_->Start(kProbeIntervalMs);
    input_watch_ = loop.WatchDescriptor(kStandardInput, platform::kIoReadable,
                                        [this](unsigned) { Trap("OnInput", [this] { OnInput(); }); });
    const int stop_fd = platform::StopSignalFd();
    if (stop_fd >= 0) {
      stop_watch_ = loop.WatchDescriptor(stop_fd, platform::kIoReadable, [this](unsigned) {
        Trap("OnStopSignal", [this] { OnStopSignal(); });
      });
    }
    loop.Post([this] { Trap("Probe", [this] { Probe(); }); });
    return loop.Run();
  }

 private:
  enum class State { kLooking, kWritten };

  // Runs an event handler; a failure inside it goes to the station as a note, and the worker goes on.
  void Trap(const char* handler, const std::function<void()>& body) {
    TrapHandler(handler, body, [this](const std::string& line) { Send(kStationNote, {line}); });
  }

  void Send(const char* kind, std::vector<std::string> fields) {
    platform::WriteStandardStream(platform::StandardStream::kOutput,
                                  EncodeStationMessage({kind, std::move(fields)}));
  }

  void Quit() {
    quitting_ = true;
    probe_timer_->Stop();
    input_watch_.reset();
    if (engine_.PortOpen()) engine_.SetPortOpen(false);
    platform::CurrentEventLoop().Quit(0);
  }

  void OnInput() {
    uint8_t buffer[256];
    const long n = platform::ReadFd(kStandardInput, buffer, sizeof buffer);
    if (n > 0) {
      LookSoon();
      return;
    }
    // The station is gone: nobody would see another result.
    station_gone_ = true;
    input_watch_.reset();
    if (!busy_) Quit();
  }

  void OnStopSignal() {
    stop_signal_ = platform::TakeStopSignal();
    if (stop_signal_ == 0) return;
    // A job under way sees the signal at its next step; the cancel ends the wait it is in at once.
    engine_.SetGNetCancel(true);
    if (!busy_) Quit();
  }

  void LookSoon() {
    if (busy_) {
      look_again_ = true;
      return;
    }
    platform::CurrentEventLoop().Post([this] { Trap("Probe", [this] { Probe(); }); });
  }

  // Looks at the port: opens it when it can, asks whether a reader answers, and writes a new one.
  void Probe() {
    if (busy_ || quitting_) return;
    busy_ = true;
    look_again_ = false;
    ProbeOnce();
    busy_ = false;
    if (stop_signal_ != 0 || station_gone_) {
      Quit();
    } else if (look_again_) {
      LookSoon();
    }
  }

  void ProbeOnce() {
    engine_.SetGNetCancel(false);
    // The job leaves the written reader's line open: finding it closed means the line hung up or the
    // device was pulled out, and whatever answers once it opens again is a reader plugged in anew.
    if (!engine_.PortOpen()) {
      if (state_ == State::kWritten) Gone("hang-up or removal");
      if (!Open()) return;
    }
    // The reader written last is looked at: still there, gone, or another unit in its place, which is
    // the one to write now.
    std::string version;
    if (state_ == State::kWritten) {
      if (StillThere(version)) return;
      Gone("another unit answers");
    } else if (!Answers(version)) {
      return;
    }
    if (stop_signal_ == 0) WriteReader(version);
  }

  // Sends "V" at the port's rate. True when anything answers: a reader busy with something, or one whose
  // version text is empty, is there all the same; `version` gets the version text.
  bool AskVersion(std::string& version) {
    engine_.SetGNetTimeout(ucGNet::kScanTimeoutMs);
    const std::string reply = engine_.SendGNetCMD("V", false, false);
    engine_.SetGNetTimeout(ucGNet::kDefaultTimeoutMs);
    version.clear();
    ucGNet::TakeAcknowledged(reply, version);
    return !reply.empty();
  }

  // Whether the reader written last still answers, as itself: false when another unit answers in its
  // place (its version text, which holds its serial number, differs), with that unit's text in `version`.
  // Two looks in a row without an answer make the written reader gone.
  bool StillThere(std::string& version) {
    if (!AskVersion(version)) {
      if (stop_signal_ == 0 && ++misses_ >= kMissesUntilGone)
        Gone(engine_.PortOpen() ? "no answer" : "hang-up");
      return true;
    }
    misses_ = 0;
    return version.empty() || version == written_version_;
  }

  // Whether a reader answers on the open port, at the scan's rates, the one it answered at last first: a
  // reader set to another rate is still a reader to write. The port is left at the rate it answered at.
  bool Answers(std::string& version) {
    std::vector<std::string> rates = gnet::ScanRateList(app_settings::ReadScanSettings(false).baud_rates,
                                                        gnet::RateOfEntry(engine_.Settings()));
    // The list's empty entry keeps the line as it is: the rate just tried, which a silent port would cost
    // another wait for nothing.
    std::erase(rates, std::string());
    if (rates.empty()) rates = {""};
    for (const std::string& rate : rates) {
      if (!engine_.PortOpen() || stop_signal_ != 0) return false;
      if (!rate.empty()) engine_.SetSettings(rate);
      if (AskVersion(version)) {
        settings_ = engine_.Settings();
        return true;
      }
    }
    return false;
  }

  bool Open() {
    engine_.SetCommPort(port_);
    engine_.SetSettings(settings_);
    engine_.SetPortOpen(true);
    if (engine_.PortOpen()) {
      open_failure_.clear();
      told_failure_.clear();
      return true;
    }
    // A port that is not there is what the worker waits for; any other reason the person must hear, once,
    // when it holds on two looks in a row: a port that has just appeared may be busy for a moment.
    const platform::PortResult why = engine_.LastOpenResult();
    const std::string failure = why.failure == platform::PortFailure::kNotPresent ? "" : why.message;
    if (!failure.empty() && failure == open_failure_ && failure != told_failure_) {
      Send(kStationNote, {port_ + ": " + failure});
      told_failure_ = failure;
    }
    open_failure_ = failure;
    return false;
  }

  void WriteReader(const std::string& version) {
    Send(kStationFound, {version, std::to_string(gnet::RateOfEntry(settings_))});
    const PortIdentity identity = LookUpPort(port_);
    ConsoleJobRecord record;
    ConsoleJob job;
    job.file_name = request_.file_name;
    job.port = port_;
    job.port_settings = settings_;
    job.use_open_port = true;
    job.record = &record;
    job.stop_signal = &stop_signal_;
    ConsoleOutput out([this](const std::string& line) { Send(kStationStep, {Bare(line)}); },
                      [this](const std::string& note) { Send(kStationNote, {Bare(note)}); }, false, true);
    const int64_t started = platform::MonotonicMs();
    const int result = DoConsole(window_, out, job);
    const double seconds = static_cast<double>(platform::MonotonicMs() - started) / 1000.0;
    // A job that ended before it asked for the version text (a reader that does not answer its polls)
    // still traces the unit's serial number, from the look that found it.
    if (record.version_text.empty()) record.version_text = version;
    Send(kStationResult, ResultMessage(MakeTraceRecord(port_, identity, record,
                                                       console_result::ExitStatusOf(result), seconds))
                             .fields);
    // The job may have followed the reader to the file's rate: the next look asks there.
    if (!record.line_settings.empty()) settings_ = record.line_settings;
    // Later looks compare what they are told with what this look was told, whatever the job got to ask.
    state_ = State::kWritten;
    written_version_ = version;
    misses_ = 0;
  }

  void Gone(const std::string& why) {
    state_ = State::kLooking;
    written_version_.clear();
    misses_ = 0;
    Send(kStationGone, {why});
  }

  frmMain& window_;
  ucGNet& engine_;
  const ConsoleRequest& request_;
  const std::string port_;
  std::string settings_;
  State state_ = State::kLooking;
  std::string written_version_;
  int misses_ = 0;
  // Why the last open failed, and the reason last told to the person.
  std::string open_failure_;
  std::string told_failure_;
  int stop_signal_ = 0;
  bool busy_ = false;
  bool look_again_ = false;
  bool station_gone_ = false;
  bool quitting_ = false;
  std::unique_ptr<platform::LoopTimer> probe_timer_;
  std::unique_ptr<platform::LoopWatch> input_watch_;
  std::unique_ptr<platform::LoopWatch> stop_watch_;
};

}  // namespace

int RunStationWorker(const ConsoleRequest& request) {
  platform::IgnorePipeAndBackgroundReadSignals();
  frmMain window("");
  window.Form_Load();
  window.TimerAutoScan.SetEnabled(false);
  StationWorker worker(window, request);
  return worker.Run();
}
