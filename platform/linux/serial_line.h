#pragma once
// Line modes of an open serial device that the serial control sets beside the four comm settings.
// They live next to ReadCommState/WriteCommState because all of them go through the kernel's termios2
// interface, which cannot share a translation unit with <termios.h>. Each returns 0 or an errno value.

namespace platform {

// Raw bytes both ways (no echo, no line editing, no character translation), receiver on, modem-control
// lines not tied to open and close, reads that return at once, and line errors marked in the input
// stream (a damaged byte arrives as 0xFF 0x00 byte, a break as 0xFF 0x00 0x00, a data 0xFF doubled).
int ConfigureMarkedRawLine(int fd);

// Flow control: 0 none, 1 XON/XOFF, 2 RTS/CTS, 3 both.
int SetLineHandshaking(int fd, int handshaking);

}  // namespace platform
