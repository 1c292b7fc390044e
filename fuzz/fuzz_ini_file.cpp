// An INI file of any content, read and then changed: SetKeyValue, DeleteKey and DeleteSection on names
// that the file holds or that the input makes up. After each change the file is read again and must hold
// exactly what the change promised, and every other key of the section as it was.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "platform/file_system.h"
#include "registers/clsINIFile.h"

namespace {

using KeyList = std::vector<std::pair<std::string, std::string>>;

bool SameName(const std::string& a, const std::string& b) {
  // The dialect upper-cases ASCII letters only.
  auto upper = [](std::string s) {
    for (char& c : s) {
      if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return s;
  };
  return upper(a) == upper(b);
}

// Keys lose these at both ends, line-break bytes included.
std::string TrimBlanks(const std::string& text) {
  const char* blanks = " \t\r\n\v\f";
  const size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::string Shown(const KeyList& keys) {
  std::string text;
  for (const auto& [key, value] : keys) text += "<" + key + "=" + value + ">";
  return text;
}

size_t LineCount(const std::string& path) {
  std::vector<std::string> lines;
  if (!platform::ReadLines(path, lines)) fuzz::Fail("cannot read back " + path);
  return lines.size();
}

// One change: what it is, which names it uses (picks above 191 make a name up) and the value it writes,
// the names and the value cut from the file's own text.
struct Change {
  int kind = 0;
  uint8_t section_pick = 0;
  uint8_t key_pick = 0;
  uint16_t text_at = 0;
  uint8_t text_length = 0;
};

std::string Cut(const std::string& content, uint16_t at, uint8_t length) {
  if (content.empty()) return {};
  return content.substr(at % content.size(), length % 48);
}

std::string PickName(uint8_t pick, const std::vector<std::string>& names, const std::string& made_up) {
  if (!names.empty() && pick < 192) return names[pick % names.size()];
  return made_up;
}

void CheckSet(clsINIFile& ini, const std::string& key, const std::string& value, const std::string& section) {
  const KeyList before = ini.EnumSectionKeys(section);
  const bool had_section = !before.empty() || [&] {
    for (const auto& name : ini.GetSectionNames()) {
      if (SameName(name, section)) return true;
    }
    return false;
  }();
  const size_t lines_before = LineCount(ini.FullFileName());
  if (!ini.SetKeyValue(key, value, section)) return;  // names the dialect cannot write are refused

  std::string read;
  fuzz::Check(ini.GetKeyValue(key, read, "", section),
              "the key just written is not found: [" + section + "] " + key);
  fuzz::Check(read == value,
              "[" + section + "] " + key + " reads back as \"" + read + "\", not \"" + value + "\"");

  // The first line of that key changed, or one line was added at the end of the section (two with a new
  // header); everything else stays.
  const std::string name = TrimBlanks(key);
  KeyList expected = before;
  auto same = std::find_if(expected.begin(), expected.end(),
                           [&](const auto& entry) { return SameName(entry.first, name); });
  const bool replaced = same != expected.end();
  if (replaced) {
    *same = {name, value};
  } else {
    expected.emplace_back(name, value);
  }
  const KeyList after = ini.EnumSectionKeys(section);
  fuzz::Check(after == expected, "SetKeyValue of " + name + " changed other keys of [" + section +
                                     "]: expected " + Shown(expected) + ", found " + Shown(after));
  const size_t added = replaced ? 0 : (had_section ? 1 : 2);
  fuzz::Check(LineCount(ini.FullFileName()) == lines_before + added,
              "SetKeyValue wrote a wrong number of lines");
}

void CheckDeleteKey(clsINIFile& ini, const std::string& key, const std::string& section) {
  const size_t lines_before = LineCount(ini.FullFileName());
  if (!ini.DeleteKey(key, section)) return;
  fuzz::Check(LineCount(ini.FullFileName()) + 1 == lines_before, "DeleteKey did not remove exactly one line");
}

void CheckDeleteSection(clsINIFile& ini, const std::string& section) {
  auto count = [&] {
    const auto names = ini.GetSectionNames();
    return std::count_if(names.begin(), names.end(), [&](const auto& n) { return SameName(n, section); });
  };
  const auto before = count();
  if (!ini.DeleteSection(section)) {
    // A header "[]" is kept in the list of names, but an empty name never addresses a section.
    fuzz::Check(before == 0 || section.empty(), "DeleteSection refused an existing section");
    return;
  }
  fuzz::Check(count() + 1 == before, "DeleteSection did not remove exactly one header");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  // The changes come from the last bytes of the input, the file is the rest, so a seed is a plain INI file.
  std::vector<Change> changes(in.ConsumeIntegralInRange<size_t>(1, 4));
  for (Change& change : changes) {
    change.kind = in.ConsumeIntegralInRange<int>(0, 3);
    change.section_pick = in.ConsumeIntegral<uint8_t>();
    change.key_pick = in.ConsumeIntegral<uint8_t>();
    change.text_at = in.ConsumeIntegral<uint16_t>();
    change.text_length = in.ConsumeIntegral<uint8_t>();
  }
  const std::string content = in.ConsumeRemainingBytesAsString();
  const std::string path = fuzz::WriteScratchFile("fuzz.ini", content);

  clsINIFile ini(path);
  // Reading alone must hold together: every enumerated key is found.
  const std::vector<std::string> sections = ini.GetSectionNames();
  std::vector<std::string> keys;
  for (const std::string& section : sections) {
    for (const auto& [key, value] : ini.EnumSectionKeys(section)) {
      keys.push_back(key);
      std::string found;
      fuzz::Check(ini.GetKeyValue(key, found, "", section), "an enumerated key is not found: " + key);
    }
  }
  ini.FindVersion();

  for (const Change& change : changes) {
    const std::string text = Cut(content, change.text_at, change.text_length);
    const std::string section = PickName(change.section_pick, sections, text);
    const std::string key = PickName(change.key_pick, keys, text);
    switch (change.kind) {
      case 0:
      case 1:
        CheckSet(ini, key, fuzz::CarriedValue(text), section);
        break;
      case 2:
        CheckDeleteKey(ini, key, section);
        break;
      default:
        CheckDeleteSection(ini, section);
        break;
    }
  }
  return 0;
}
