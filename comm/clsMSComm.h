#pragma once
// The one port abstraction the protocol engine talks to. Its members copy the property set of a serial
// communications control so that the serial port, the keyboard port and the HID port look alike.
//
// The class plays two roles. Port implementations (clsIMScomm for serial) derive from it and override
// every member. A plain clsMSComm object is a forwarder: it holds at most one attached implementation
// and passes every member on to it; with nothing attached, reads give the zero value and writes are
// ignored. Which implementation serves a port name is the container's decision, asked for through the
// Request event.

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "platform/serial_control.h"

using Bytes = std::vector<uint8_t>;

// The attach protocol's words: what a forwarder asks its container through Request, and what the
// container asks each implementation through AttachOrder (in capitals; implementations ignore case).
namespace attach_protocol {
inline constexpr const char* kReattach = "REATTACH";
inline constexpr const char* kRequestIndex = "Index";
inline constexpr const char* kRequestCommPort = "CommPort";
inline constexpr const char* kOrderIndex = "INDEX";
inline constexpr const char* kOrderCommPort = "COMMPORT";
}  // namespace attach_protocol

// A late-bound property value.
using CommValue = std::variant<std::monostate, bool, int32_t, double, std::string, Bytes>;

// The answer slot of the attach protocol: an implementation that serves a request puts itself into
// `object`; REATTACH passes mark themselves in `handled` (NUL-separated tags) so each acts once per pass.
struct AttachAnswer {
  class clsMSComm* object = nullptr;
  std::string handled;
};

class clsMSComm {
 public:
  clsMSComm() = default;
  virtual ~clsMSComm() = default;
  clsMSComm(const clsMSComm&) = delete;
  clsMSComm& operator=(const clsMSComm&) = delete;

  // Forwarder: asks the container to attach (true) or detach (false) the port object called `name`,
  // by raising Request("REATTACH", name + "+" or "-", empty). Nothing happens for an empty name.
  virtual void AttachOrder(const std::string& name, bool attach);
  // Implementation: answers one question of the container ("INDEX", "COMMPORT", "REATTACH").
  // The forwarder gives no answer.
  virtual void AttachOrder(const std::string& key, CommValue& value, AttachAnswer& result);
  // Gives an implementation its owner (the forwarder it serves) and its device control.
  virtual void AttachCommObject(clsMSComm* owner, platform::SerialControl* control);

  virtual bool Break() const;
  virtual void SetBreak(bool on);
  virtual bool CDHolding() const;
  virtual int32_t CommID() const;
  virtual std::string CommPort() const;
  // Forwarder: closes an open port, asks the container for the object that serves `name` (which may
  // rewrite the name), attaches it and passes the name on.
  virtual void SetCommPort(const std::string& name);
  virtual bool CTSHolding() const;
  virtual bool DSRHolding() const;
  virtual bool DTREnable() const;
  virtual void SetDTREnable(bool enable);
  virtual bool EOFEnable() const;
  virtual void SetEOFEnable(bool enable);
  virtual int32_t HandShaking() const;
  virtual void SetHandShaking(int32_t protocol);
  virtual int32_t InBufferCount() const;
  virtual void SetInBufferCount(int32_t count);
  virtual int32_t InBufferSize() const;
  virtual void SetInBufferSize(int32_t size);
  virtual Bytes CommInput();
  virtual int32_t InputLen() const;
  virtual void SetInputLen(int32_t len);
  virtual int32_t InputMode() const;
  virtual void SetInputMode(int32_t mode);
  virtual bool NullDiscard() const;
  virtual void SetNullDiscard(bool discard);
  virtual int32_t OutBufferCount() const;
  virtual void SetOutBufferCount(int32_t count);
  virtual int32_t OutBufferSize() const;
  virtual void SetOutBufferSize(int32_t size);
  virtual void CommOutput(const Bytes& data);
  void CommOutput(const std::string& text) { CommOutput(Bytes(text.begin(), text.end())); }
  virtual std::string ParityReplace() const;
  virtual void SetParityReplace(const std::string& replacement);
  virtual bool PortOpen() const;
  virtual void SetPortOpen(bool open);
  virtual int32_t RThreshold() const;
  virtual void SetRThreshold(int32_t bytes);
  virtual bool RTSEnable() const;
  virtual void SetRTSEnable(bool enable);
  virtual std::string Settings() const;
  virtual void SetSettings(const std::string& settings);
  virtual int32_t SThreshold() const;
  virtual void SetSThreshold(int32_t bytes);
  virtual int32_t CommEvent() const;

  // Forwarder: collects the names of every port object of the container and returns their number.
  virtual int32_t GetCommPortCount();
  // The index-th port name (0-based), or an empty text.
  virtual std::string EnumCommPort(int32_t index);

  // Any member by its name, without regard to case. An unknown name reads as an empty value and a
  // write to it returns false.
  virtual CommValue Properties(const std::string& name);
  virtual bool SetProperties(const std::string& name, const CommValue& value);

  // An implementation signals its events through these calls on the object the engine listens to.
  virtual void RaiseOnComm();
  virtual void RaiseOnEvent(const std::string& text);

  // The forwarder's attached implementation, or nullptr.
  clsMSComm* Attached() const { return attached_; }
  // Replaces the attached implementation (nullptr: none). The port-name table is kept. An object is
  // never attached to itself, which would forward every call in a circle.
  void Attach(clsMSComm* port) { attached_ = port == this ? nullptr : port; }

  // Something happened; the listener reads CommEvent.
  std::function<void()> OnComm;
  // A free-text notice for display (an open that failed and why).
  std::function<void(const std::string& text)> OnEvent;
  // The object needs something from its container: "REATTACH", "Index", "CommPort".
  std::function<void(const std::string& command, CommValue& param1, clsMSComm*& param2)> Request;

 protected:
  // The answers every implementation gives alike. "INDEX": counts the position in `value` down by one,
  // keeping its type, and answers when it reaches 0. "REATTACH": "+name" re-attaches every object but the
  // named one to `owner`, "-name" only the named one; each object acts once per pass (marked in
  // `result.handled`).
  static void AnswerIndex(clsMSComm* self, CommValue& value, AttachAnswer& result);
  static void AnswerReattach(clsMSComm* self, const char* tag, clsMSComm* owner, const CommValue& value,
                             AttachAnswer& result);

  // Late-bound access to this object's own members, used by Properties.
  CommValue GetOwnProperty(const std::string& name, bool& found);
  bool SetOwnProperty(const std::string& name, const CommValue& value);

 private:
  clsMSComm* attached_ = nullptr;
  std::vector<std::string> port_names_;
  int32_t port_count_ = 0;
  bool enumerated_ = false;
};
