#pragma once
// How an open's error code becomes a kind of failure, in one place for the serial control and the HID
// device, so that both advise the person alike.

#include <string>

#include "platform/serial_control.h"

namespace platform {

PortFailure PortFailureOf(int error);
// The system's message for `error`, or "error <n>" where the system has none.
std::string SystemText(int error);

}  // namespace platform
