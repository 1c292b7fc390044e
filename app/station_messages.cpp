#include "app/station_messages.h"

#include <cstdio>
#include <cstdlib>

namespace {

std::string Escaped(const std::string& field) {
  std::string text;
  for (const char c : field) {
    switch (c) {
      case '\\':
        text += "\\\\";
        break;
      case '\t':
        text += "\\t";
        break;
      case '\n':
        text += "\\n";
        break;
      case '\r':
        text += "\\r";
        break;
      default:
        text += c;
    }
  }
  return text;
}

std::string Unescaped(const std::string& text) {
  std::string field;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      field += text[i];
      continue;
    }
    const char next = text[++i];
    field += next == 't' ? '\t' : next == 'n' ? '\n' : next == 'r' ? '\r' : next;
  }
  return field;
}

constexpr size_t kRecordFields = 15;

}  // namespace

std::string EncodeStationMessage(const StationMessage& message) {
  std::string line = Escaped(message.kind);
  for (const std::string& field : message.fields) line += "\t" + Escaped(field);
  return line + "\n";
}

bool DecodeStationMessage(const std::string& line, StationMessage& message) {
  if (line.empty()) return false;
  std::vector<std::string> parts;
  size_t start = 0;
  for (;;) {
    const size_t tab = line.find('\t', start);
    parts.push_back(
        Unescaped(line.substr(start, tab == std::string::npos ? std::string::npos : tab - start)));
    if (tab == std::string::npos) break;
    start = tab + 1;
  }
  message.kind = parts.front();
  message.fields.assign(parts.begin() + 1, parts.end());
  return true;
}

StationMessage ResultMessage(const TraceRecord& record) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.3f", record.seconds);
  return {
      kStationResult,
      {record.utc_time, record.host, record.port, record.device, record.adapter_serial, record.identification,
       record.serial_number, record.firmware, record.file, record.image_sha256, record.alias,
       std::to_string(record.registers_written), std::to_string(record.result), record.result_text, seconds}};
}

bool RecordOfResult(const StationMessage& message, TraceRecord& record) {
  const std::vector<std::string>& f = message.fields;
  if (message.kind != kStationResult || f.size() != kRecordFields) return false;
  record.utc_time = f[0];
  record.host = f[1];
  record.port = f[2];
  record.device = f[3];
  record.adapter_serial = f[4];
  record.identification = f[5];
  record.serial_number = f[6];
  record.firmware = f[7];
  record.file = f[8];
  record.image_sha256 = f[9];
  record.alias = f[10];
  record.registers_written = std::atoi(f[11].c_str());
  record.result = std::atoi(f[12].c_str());
  record.result_text = f[13];
  record.seconds = std::strtod(f[14].c_str(), nullptr);
  return true;
}
