#pragma once
// The msrsim command line: global options, and reader options that apply to every reader when they come
// before the first "--reader" and to one reader after it.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/reader_config.h"

namespace msrsim {

// One reader as the command line describes it. The register image is put together by BuildReaderConfig,
// once every option is known, because --cfg, --fill, --rate and --alias combine.
struct ReaderArgs {
  ReaderConfig config;  // fields that options set directly
  std::optional<std::string> cfg_file;
  std::optional<uint8_t> fill;
  std::optional<uint32_t> rate;
  std::optional<std::string> alias;
  std::string com_name;  // --register COMn (a serial reader)
  std::string hid_name;  // --register HIDn (a reader behind a bridge)
  std::string save_cfg;  // --save-cfg FILE: the image is written there when msrsim ends
  // Folder of factory images: without --cfg and --fill the reader starts from the image there whose
  // Module is its model, as a reader fresh from the factory would. Empty: not looked for.
  std::string factory_folder;
};

enum class LogTarget { kNone, kStderr, kStdout };

struct ProgramOptions {
  bool help = false;
  LogTarget log = LogTarget::kNone;
  // Seed of the random faults; reader n (from 0) uses seed + n. None: the caller takes one from the clock.
  std::optional<uint64_t> seed;
  std::vector<ReaderArgs> readers;  // at least one after a successful parse
};

// Parses the arguments after the program name. False with `error` naming the bad option.
bool ParseCommandLine(const std::vector<std::string>& args, ProgramOptions& options, std::string& error);

// The reader's configuration: the image from the .cfg file, the fill byte or the model's factory image
// (else a fill of 00), the rate from --rate or else from the image's baud-rate register, then the alias.
// False with `error` when the file cannot be used.
bool BuildReaderConfig(const ReaderArgs& reader, ReaderConfig& config, std::string& error);

std::string HelpText();

}  // namespace msrsim
