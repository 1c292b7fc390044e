#include "registers/clsINIFile.h"

#include "platform/paths.h"
#include "platform/text.h"

namespace {

// Keys and values are trimmed of every white-space character, tabs included; tabs meant to be part of a
// value are written as "\t" and so survive. Case is ASCII only: the files carry no code page.
std::string Trim(const std::string& text) {
  return platform::text::Trim(text, platform::text::kWhiteSpace);
}

using platform::text::Upper;

bool SameName(const std::string& a, const std::string& b) {
  return a.size() == b.size() && Upper(a) == Upper(b);
}

// "[name]..." at the very start of the line; the name is the text up to the first "]".
bool ParseHeader(const std::string& line, std::string& name) {
  if (line.empty() || line[0] != '[') return false;
  size_t close = line.find(']', 1);
  if (close == std::string::npos) return false;
  name = line.substr(1, close - 1);
  return true;
}

// Any other line holding "=" is a key line. There is deliberately no comment character: "; a = b" is the key
// "; a", because older files of the program carry such lines and they have always been read as keys.
bool ParseKeyLine(const std::string& line, std::string& key, std::string& raw_value) {
  std::string ignored;
  if (ParseHeader(line, ignored)) return false;
  size_t equals = line.find('=');
  if (equals == std::string::npos) return false;
  key = Trim(line.substr(0, equals));
  raw_value = Trim(line.substr(equals + 1));
  return true;
}

// A key or section name that would not come back as the same name once written on a line of its own.
bool WritableKey(const std::string& key) {
  std::string ignored;
  return !key.empty() && key.find_first_of("=\r\n") == std::string::npos && !ParseHeader(key, ignored);
}
bool WritableSection(const std::string& section) {
  return !section.empty() && section.find_first_of("]\r\n") == std::string::npos;
}

std::string JoinLines(const std::vector<std::string>& lines) {
  // Files are written with LF alone, the native line end here; both LF and CR LF are read, so files brought
  // over from Windows keep working (and are converted the first time the program changes them).
  std::string content;
  for (const std::string& line : lines) {
    content += line;
    content += '\n';
  }
  return content;
}

// Every name that TempFileName gives for `target`: the names are shared by every file with the same name
// before its extension, and so is the clearing of those that killed writers left.
bool IsTempNameOf(const std::string& target, const std::string& name) {
  const std::string first = platform::BaseName(clsINIFile::TempFileName(target, 1));
  const std::string prefix = first.substr(0, first.size() - std::string("1).tmp").size());
  const std::string suffix = ").tmp";
  if (name.size() <= prefix.size() + suffix.size() || name.compare(0, prefix.size(), prefix) != 0 ||
      name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0) {
    return false;
  }
  return platform::text::AllDigits(name.substr(prefix.size(), name.size() - prefix.size() - suffix.size()));
}

const platform::TemporaryNames& TempNames() {
  static const platform::TemporaryNames names{&clsINIFile::TempFileName, clsINIFile::kMaxTempTries,
                                              &IsTempNameOf};
  return names;
}

// Index of the first key line in [begin, end) of `lines` whose key matches, or `end`.
size_t FindKeyIn(const std::vector<std::string>& lines, size_t begin, size_t end, const std::string& key) {
  std::string wanted = Upper(Trim(key));
  if (wanted.empty()) return end;
  for (size_t i = begin; i < end; ++i) {
    std::string line_key, raw;
    if (ParseKeyLine(lines[i], line_key, raw) && Upper(line_key) == wanted) return i;
  }
  return end;
}

// The first section called `name` in `lines`: its header line and one past its last line.
bool FindSectionIn(const std::vector<std::string>& lines, const std::string& name, size_t& header,
                   size_t& end) {
  bool found = false;
  for (size_t i = 0; i < lines.size() && !name.empty(); ++i) {
    std::string line_name;
    if (!ParseHeader(lines[i], line_name)) continue;
    if (found) {
      end = i;
      return true;
    }
    if (SameName(line_name, name)) {
      found = true;
      header = i;
      end = lines.size();
    }
  }
  return found;
}

// Why `change` cannot be written, or an empty text: a name that would not come back as the same name, or a
// key line that would read back as a section header ("[x" with a value holding "]").
std::string WhyNotWritable(const clsINIFile::KeyChange& change) {
  if (!change.value) return {};
  const std::string key = Trim(change.key);
  std::string header;
  if (!WritableKey(key)) return "\"" + change.key + "\" cannot be written as a key";
  if (!WritableSection(change.section))
    return "\"" + change.section + "\" cannot be written as a section name";
  if (ParseHeader(clsINIFile::FormatKeyLine(key, *change.value), header)) {
    return "the line of key \"" + key + "\" would read back as a section header";
  }
  return {};
}

// Makes `change` in `lines`; false when it changes nothing.
bool ApplyChange(std::vector<std::string>& lines, const clsINIFile::KeyChange& change) {
  size_t header = 0, end = 0;
  const bool found = FindSectionIn(lines, change.section, header, end);
  const size_t line = found ? FindKeyIn(lines, header + 1, end, change.key) : end;
  if (change.only_if) {
    std::string key, raw;
    if (line == end || !ParseKeyLine(lines[line], key, raw) ||
        clsINIFile::StripQuotes(clsINIFile::UnescapeValue(raw)) != *change.only_if) {
      return false;
    }
  }
  if (!change.value) {
    if (line == end) return false;
    lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(line));
    return true;
  }
  const std::string key_line = clsINIFile::FormatKeyLine(Trim(change.key), *change.value);
  if (!found) {
    lines.push_back("[" + change.section + "]");
    lines.push_back(key_line);
  } else if (line != end) {
    lines[line] = key_line;
  } else {
    // "End of the section" is taken as after its last non-blank line, so the blank line that people
    // leave before the next header stays in front of that header.
    size_t insert = end;
    while (insert > header + 1 && Trim(lines[insert - 1]).empty()) --insert;
    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(insert), key_line);
  }
  return true;
}

}  // namespace

clsINIFile::clsINIFile(const std::string& full_file_name, const std::string& version_key)
    : version_key_(version_key) {
  SetFullFileName(full_file_name);
}

void clsINIFile::SetFullFileName(const std::string& full_file_name) {
  full_file_name_ = full_file_name;
  file_name_ = platform::BaseName(full_file_name);
  CloseFile();
  loaded_ = false;
  cached_section_ = -1;
}

bool clsINIFile::Load() {
  platform::FileStamp stamp = platform::GetFileStamp(full_file_name_);
  if (loaded_ && stamp == stamp_) return true;

  loaded_ = false;
  cached_section_ = -1;
  lines_.clear();
  sections_.clear();
  if (full_file_name_.empty()) return false;
  if (stamp.exists && !platform::ReadLines(full_file_name_, lines_)) return false;

  for (size_t i = 0; i < lines_.size(); ++i) {
    std::string name;
    if (!ParseHeader(lines_[i], name)) continue;
    if (!sections_.empty()) sections_.back().end = i;
    sections_.push_back(Section{name, i, lines_.size()});
  }
  stamp_ = stamp;
  loaded_ = true;
  return true;
}

const clsINIFile::Section* clsINIFile::FindSection(const std::string& name) {
  if (name.empty() || !Load()) return nullptr;
  if (cached_section_ >= 0 && SameName(sections_[static_cast<size_t>(cached_section_)].name, name)) {
    return &sections_[static_cast<size_t>(cached_section_)];
  }
  // The first section of that name counts; a repeated header is never reached by a look-up.
  for (size_t i = 0; i < sections_.size(); ++i) {
    if (SameName(sections_[i].name, name)) {
      cached_section_ = static_cast<int>(i);
      return &sections_[i];
    }
  }
  return nullptr;
}

size_t clsINIFile::FindKeyLine(size_t begin, size_t end, const std::string& key) const {
  return FindKeyIn(lines_, begin, end, key);
}

bool clsINIFile::Edit(const std::function<bool(std::vector<std::string>& lines)>& edit, bool* changed) {
  // Whatever happens below, the next look-up must read the disk again.
  loaded_ = false;
  cached_section_ = -1;
  last_error_.clear();
  if (changed != nullptr) *changed = false;
  if (full_file_name_.empty()) return Refuse("no file name");
  bool written = false;
  std::string reason;
  const bool ok = platform::RewriteFile(
      full_file_name_,
      [&edit](const std::string& content, std::string& new_content) {
        std::vector<std::string> lines = platform::SplitLines(content);
        if (!edit(lines)) return false;
        new_content = JoinLines(lines);
        return true;
      },
      TempNames(), written, &reason);
  if (changed != nullptr) *changed = written;
  if (!ok) last_error_ = full_file_name_ + ": " + reason;
  return ok;
}

bool clsINIFile::Refuse(const std::string& why) {
  last_error_ = full_file_name_ + ": " + why;
  return false;
}

bool clsINIFile::OpenINIFile() {
  CloseFile();
  if (!Load() || !stamp_.exists) return false;
  open_ = true;
  read_pos_ = 0;
  return true;
}

void clsINIFile::CloseFile() {
  open_ = false;
  read_pos_ = 0;
}

bool clsINIFile::ReadLine(std::string& line) {
  if (!open_ || read_pos_ >= lines_.size()) return false;
  line = lines_[read_pos_++];
  return true;
}

bool clsINIFile::WriteLine(const std::string& text) {
  return Edit([&text](std::vector<std::string>& lines) {
    lines.push_back(EscapeValue(text));
    return true;
  });
}

bool clsINIFile::FindINIFile() const {
  return platform::FileExists(full_file_name_);
}

platform::FileAttributes clsINIFile::FileAttributes() const {
  return platform::GetFileAttributes(full_file_name_);
}

bool clsINIFile::CopyFile(const std::string& destination) const {
  return platform::CopyFile(full_file_name_, destination);
}

bool clsINIFile::CreateFile() {
  if (full_file_name_.empty()) return false;
  if (platform::FileExists(full_file_name_)) return true;
  return platform::MakeDirectories(platform::DirName(full_file_name_)) &&
         platform::CreateEmptyFile(full_file_name_);
}

std::vector<std::string> clsINIFile::GetSectionNames() {
  std::vector<std::string> names;
  if (!Load()) return names;
  for (const Section& section : sections_) names.push_back(section.name);
  return names;
}

std::vector<std::pair<std::string, std::string>> clsINIFile::EnumSectionKeys(const std::string& section) {
  std::vector<std::pair<std::string, std::string>> keys;
  const Section* found = FindSection(section);
  if (found == nullptr) return keys;
  for (size_t i = found->header + 1; i < found->end; ++i) {
    std::string key, raw;
    // A line such as "= x" names no key that a look-up could find, so it is not listed either.
    if (ParseKeyLine(lines_[i], key, raw) && !key.empty()) {
      keys.emplace_back(key, StripQuotes(UnescapeValue(raw)));
    }
  }
  return keys;
}

bool clsINIFile::GetKeyValue(const std::string& key, std::string& value, const std::string& default_value,
                             const std::string& section) {
  value = default_value;
  const Section* found = FindSection(section);
  if (found == nullptr) return false;
  size_t line = FindKeyLine(found->header + 1, found->end, key);
  if (line == found->end) return false;
  std::string line_key, raw;
  ParseKeyLine(lines_[line], line_key, raw);
  value = StripQuotes(UnescapeValue(raw));
  return true;
}

std::string clsINIFile::GetKeyValue(const std::string& key, const std::string& default_value,
                                    const std::string& section) {
  std::string value;
  GetKeyValue(key, value, default_value, section);
  return value;
}

bool clsINIFile::SetKeyValue(const std::string& key, const std::string& value, const std::string& section) {
  return ChangeKeys({{section, key, value}});
}

bool clsINIFile::DeleteKey(const std::string& key, const std::string& section) {
  bool removed = false;
  return ChangeKeys({{section, key, std::nullopt}}, &removed) && removed;
}

bool clsINIFile::DeleteSection(const std::string& section) {
  bool removed = false;
  const bool ok = Edit(
      [&section](std::vector<std::string>& lines) {
        size_t header = 0, end = 0;
        if (!FindSectionIn(lines, section, header, end)) return false;
        lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(header),
                    lines.begin() + static_cast<std::ptrdiff_t>(end));
        return true;
      },
      &removed);
  return ok && removed;
}

bool clsINIFile::ChangeKeys(const std::vector<KeyChange>& changes, bool* changed) {
  if (changed != nullptr) *changed = false;
  for (const KeyChange& change : changes) {
    const std::string why = WhyNotWritable(change);
    if (!why.empty()) return Refuse(why);
  }
  return Edit(
      [&changes](std::vector<std::string>& lines) {
        bool any = false;
        for (const KeyChange& change : changes) any = ApplyChange(lines, change) || any;
        return any;
      },
      changed);
}

bool clsINIFile::FindVersionKey(const std::string& section) {
  if (!section.empty()) {
    std::string ignored;
    return GetKeyValue(version_key_, ignored, "", section);
  }
  if (!Load()) return false;
  return FindKeyLine(0, lines_.size(), version_key_) != lines_.size();
}

std::string clsINIFile::FindVersion(const std::string& section) {
  if (!section.empty()) return GetKeyValue(version_key_, "", section);
  if (!Load()) return {};
  size_t line = FindKeyLine(0, lines_.size(), version_key_);
  if (line == lines_.size()) return {};
  std::string key, raw;
  ParseKeyLine(lines_[line], key, raw);
  return StripQuotes(UnescapeValue(raw));
}

std::string clsINIFile::UnescapeValue(const std::string& raw) {
  std::string out;
  out.reserve(raw.size());
  for (size_t i = 0; i < raw.size(); ++i) {
    char c = raw[i];
    if (c != '\\' || i + 1 == raw.size()) {
      out += c;
      continue;
    }
    char next = raw[i + 1];
    if (next == 'n' || next == 'N') {
      out += "\r\n";
    } else if (next == 't' || next == 'T') {
      out += '\t';
    } else if (next == '\\') {
      out += '\\';
    } else {
      // An unknown pair is kept whole: paths such as "C:\Program Files" read back as written.
      out += c;
      out += next;
    }
    ++i;
  }
  return out;
}

std::string clsINIFile::StripQuotes(const std::string& value) {
  if (value.empty()) return value;
  bool leading = value.front() == '"';
  bool trailing = value.back() == '"';
  if (value.size() == 1) return leading ? std::string() : value;
  if (leading && trailing) return value.substr(1, value.size() - 2);
  if (leading) return value.substr(1);
  if (trailing) return value.substr(0, value.size() - 1);
  return value;
}

std::string clsINIFile::EscapeValue(const std::string& value) {
  // A backslash is written as it stands, not as "\\". Files of the program hold Windows paths typed by hand
  // ("C:\Data\new"), and they have always been written so; the price is that a value holding the text
  // "\n" reads back as a line break.
  std::string out;
  out.reserve(value.size());
  for (size_t i = 0; i < value.size(); ++i) {
    char c = value[i];
    if (c == '\r') {
      out += "\\n";
      if (i + 1 < value.size() && value[i + 1] == '\n') ++i;  // CR LF is one line break
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else {
      out += c;
    }
  }
  return out;
}

std::string clsINIFile::FormatKeyLine(const std::string& key, const std::string& value) {
  return key + " = " + EscapeValue(value);
}

std::string clsINIFile::TempFileName(const std::string& full_file_name, int n) {
  std::string folder = platform::DirName(full_file_name);
  std::string name = platform::BaseName(full_file_name);
  size_t dot = name.rfind('.');
  if (dot != std::string::npos) name.erase(dot);
  // "x(2).ini" gives "x(1).tmp" too: the temporary names of one file never pile up brackets.
  if (!name.empty() && name.back() == ')') {
    size_t open = name.rfind('(');
    if (open != std::string::npos) name.erase(open);
  }
  return platform::Join(folder, name + "(" + std::to_string(n) + ").tmp");
}
