// A reader on a real serial device, through the platform's serial control: the device does the timing,
// and the reader's rate is the device's own rate.
#include <memory>

#include "platform/serial_control.h"
#include "platform/serial_registry.h"
#include "sim/reader_line.h"

namespace msrsim {

namespace {

std::string SettingsFor(uint32_t rate) {
  return std::to_string(rate) + ",N,8,1";
}

class DeviceLine final : public ReaderLine {
 public:
  DeviceLine(std::unique_ptr<platform::SerialControl> control, std::string path)
      : control_(std::move(control)), path_(std::move(path)) {}
  ~DeviceLine() override { Close(); }

  void Attach(std::function<void(const uint8_t*, size_t)> on_receive,
              std::function<void()> on_lost) override {
    control_->OnComm = [this, on_receive = std::move(on_receive), on_lost = std::move(on_lost)] {
      const int16_t event = control_->CommEvent();
      if (event == platform::kCommEvReceive) {
        const platform::Bytes data = control_->CommInput();
        if (!data.empty()) on_receive(data.data(), data.size());
      } else if (event == platform::kCommEventDeviceLost) {
        on_lost();
      }
    };
  }
  bool IsOpen() const override { return control_->PortOpen(); }
  const std::string& Path() const override { return path_; }
  uint32_t HostRate() const override { return 0; }
  long Write(const uint8_t* data, size_t size) override {
    if (!control_->CommOutput(platform::Bytes(data, data + size))) return -1;
    return static_cast<long>(size);  // the control queues everything and sends as the device takes it
  }
  bool SetReaderRate(uint32_t rate) override { return control_->SetSettings(SettingsFor(rate)); }
  bool SendsAtLineRate() const override { return true; }
  void Close() override {
    control_->OnComm = nullptr;
    control_->SetPortOpen(false);
  }

 private:
  std::unique_ptr<platform::SerialControl> control_;
  std::string path_;
};

}  // namespace

std::unique_ptr<ReaderLine> OpenDeviceLine(const std::string& path, uint32_t rate, platform::EventLoop& loop,
                                           std::string& error) {
  int number = 0;
  for (const platform::SerialPortInfo& port : platform::ListSerialPorts()) {
    if (port.device == path) number = port.number;
  }
  if (number == 0) {
    error = path +
            " is not a serial port of this machine (a device that is not found automatically can be "
            "added to [SerialPorts] of the settings file)";
    return nullptr;
  }
  auto control = platform::CreateSerialControl(&loop);
  control->SetCommPort(static_cast<int16_t>(number));
  control->SetInputMode(platform::kInputModeBinary);
  control->SetRThreshold(1);
  if (!control->SetSettings(SettingsFor(rate))) {
    error = path + ": the rate " + std::to_string(rate) + " cannot be set";
    return nullptr;
  }
  const platform::PortResult opened = control->SetPortOpen(true);
  if (!opened.ok) {
    error = opened.message;
    return nullptr;
  }
  return std::make_unique<DeviceLine>(std::move(control), path);
}

}  // namespace msrsim
