#pragma once
// Loading the reader's register image from a configuration file: section "MSRRegister", key "Registers",
// two hexadecimal digits per byte, address 0 first, blanks anywhere.

#include <string>

#include "sim/reader_config.h"

namespace msrsim {

// Reads the 256-byte image from `hex`. Unlike a lenient reader, anything but hexadecimal digits and
// blanks, an odd digit count or a length other than 256 bytes is an error: a broken file should stop the
// emulator with a message, not start a reader with half an image. `error` says what is wrong.
bool ParseRegisterHex(const std::string& hex, RegisterImage& image, std::string& error);

// The factory image file of `model` in `folder`: the first ".ini", ".inf" or ".cfg" file (in name order)
// whose [MSRRegister] Module is `model`, compared without regard to case. Empty when there is none.
std::string FindFactoryImage(const std::string& folder, const std::string& model);

// Loads `path`. On failure `image` is unchanged and `error` names the file and the problem.
bool LoadRegisterFile(const std::string& path, RegisterImage& image, std::string& error);

// Writes `image` into `path` as a .cfg file that LoadRegisterFile (and the configuration utility) reads:
// Module `model`, AliasName when the alias area holds printable text, Registers. The file is replaced
// through a flushed temporary copy, so a reader stopped while saving leaves the old file or the new one.
bool SaveRegisterFile(const std::string& path, const RegisterImage& image, const std::string& model,
                      std::string& error);

}  // namespace msrsim
