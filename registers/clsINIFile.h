#pragma once
// Reads and writes the program's INI files line by line, in the program's own dialect.
//
// Dialect (every INI file of the program uses it: Trakset.ini, AliasName.ini, .cfg files, skin definitions,
// the per-user settings file):
//   - "[name]" at the very start of a line opens a section; text behind the "]" is ignored. Section names
//     compare case-insensitively, like keys: a person editing a file by hand expects "[comm]" to be "[COMM]".
//   - A line holding "=" is a key line: key = text before the first "=", value = text after it, both trimmed.
//     Keys compare case-insensitively.
//   - There is no comment character. A line such as "; x = 1" is the key "; x": files written by earlier
//     releases of the program hold such lines and they must keep their meaning.
//   - A look-up scans only the requested section (header to next header); the first matching key wins.
//   - Values read back are unescaped ("\n" -> CR LF, "\t" -> tab, "\\" -> "\", other pairs kept) and then
//     lose a leading and/or trailing double quote.
//   - Values written have line breaks as "\n" and tabs as "\t"; a backslash is written as it stands, not
//     doubled (see EscapeValue).
// Text is bytes: one byte per character, no code-page conversion.
//
// Every change rewrites the whole file through a temporary copy beside it that then replaces the file, so a
// crash leaves either the old or the new file, never half of one. The file is read, changed and replaced
// under a lock (platform::RewriteFile), so two programs changing one file (the emulator adding its port
// while the window saves its settings) keep both changes. A rewrite first removes the temporary copies that
// killed writers of the file left behind (see platform::RemoveAbandonedFile). A file reached through a
// symbolic link stays a link.
//
// One object is bound to one file. It is not thread-safe; create one per use, as the program does.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_system.h"

class clsINIFile {
 public:
  static constexpr const char* kDefaultVersionKey = "Version";
  // Temporary names tried per rewrite before the write gives up.
  static constexpr int kMaxTempTries = 65535;

  // One change of ChangeKeys: `value` is written as SetKeyValue does; without one, the key's line is
  // removed. With `only_if`, the change is made only while the key holds that value.
  struct KeyChange {
    KeyChange(std::string section_name, std::string key_name, std::optional<std::string> new_value,
              std::optional<std::string> expected = std::nullopt)
        : section(std::move(section_name)),
          key(std::move(key_name)),
          value(std::move(new_value)),
          only_if(std::move(expected)) {}
    std::string section;
    std::string key;
    std::optional<std::string> value;
    std::optional<std::string> only_if;
  };

  clsINIFile() = default;
  explicit clsINIFile(const std::string& full_file_name, const std::string& version_key = kDefaultVersionKey);

  // The bound file: its name without folder ("Trakset.ini") and its full path.
  const std::string& FileName() const { return file_name_; }
  const std::string& FullFileName() const { return full_file_name_; }
  // Binds the object to another file; drops what was cached and closes line reading.
  void SetFullFileName(const std::string& full_file_name);

  const std::string& VersionKey() const { return version_key_; }
  void SetVersionKey(const std::string& key) { version_key_ = key; }

  // Line reading of the bound file. OpenINIFile loads the file and puts the read position at its first
  // line; false when the file cannot be read. ReadLine gives the next line without its line break (CR LF
  // and LF both end a line) and false at the end or when the file is not open.
  bool OpenINIFile();
  void CloseFile();
  bool IsOpen() const { return open_; }
  bool ReadLine(std::string& line);

  // Appends one line at the end of the bound file (creating file and folder when missing). Line breaks and
  // tabs in `text` are written as "\n" and "\t" so that it stays one line.
  bool WriteLine(const std::string& text);

  // True when the bound file exists as a regular file.
  bool FindINIFile() const;
  platform::FileAttributes FileAttributes() const;
  // Copies the bound file to `destination` (replacing it). False when the source cannot be read.
  bool CopyFile(const std::string& destination) const;
  // Creates the bound file empty, with its folder, when it does not exist. True when it exists afterwards.
  bool CreateFile();

  // Every section name in file order, as written in the file (duplicates included).
  std::vector<std::string> GetSectionNames();
  // Every key line of `section` in file order: (key, value unescaped and unquoted).
  std::vector<std::pair<std::string, std::string>> EnumSectionKeys(const std::string& section);

  // Looks up `key` in `section`. Found: `value` gets the unescaped, unquoted value and the result is true.
  // Not found (no file, no section, no key, empty section name or key): `value` = `default_value`, false.
  bool GetKeyValue(const std::string& key, std::string& value, const std::string& default_value,
                   const std::string& section);
  // The same, when the found flag is not needed.
  std::string GetKeyValue(const std::string& key, const std::string& default_value,
                          const std::string& section);

  // Writes "key = value" into `section`: replaces the section's first line with that key, or adds the line
  // at the end of the section, or adds "[section]" and the line at the end of the file. Creates the file
  // (and its folder) when it is missing. False when the file is read-only or cannot be rewritten, when no
  // free temporary name is found, when the key or section name cannot be written as one line, or when the
  // key line would read back as a section header ("[x" with a value holding "]").
  bool SetKeyValue(const std::string& key, const std::string& value, const std::string& section);
  // Removes the first line of `section` with that key. True when a line was removed.
  bool DeleteKey(const std::string& key, const std::string& section);
  // Removes the first section of that name: its header and every line up to the next header.
  // True when a section was removed.
  bool DeleteSection(const std::string& section);
  // Makes every change, in order, in one rewrite: either all of them reach the file or none. A name that
  // SetKeyValue would refuse refuses the whole set. True when the file holds the changes; `changed` (when
  // given) tells whether any line changed.
  bool ChangeKeys(const std::vector<KeyChange>& changes, bool* changed = nullptr);
  // Why the last change through this object failed, "<full path>: <system message>" (or words of its own
  // where no system call failed); empty after a change that succeeded or had nothing to do.
  std::string LastError() const { return last_error_; }

  // The version key (VersionKey(), "Version" by default): in `section`, or when `section` is empty, the
  // first such key line anywhere in the file, including lines before the first header.
  bool FindVersionKey(const std::string& section = "");
  // Its value (unescaped, unquoted), or an empty text when there is none.
  std::string FindVersion(const std::string& section = "");

  // The dialect's value conversions, exposed for other writers of the same files and for tests.
  static std::string UnescapeValue(const std::string& raw);
  static std::string StripQuotes(const std::string& value);
  static std::string EscapeValue(const std::string& value);
  // "key = value" with the value escaped.
  static std::string FormatKeyLine(const std::string& key, const std::string& value);
  // The temporary name tried as attempt `n` (from 1) for rewriting `full_file_name`.
  static std::string TempFileName(const std::string& full_file_name, int n);

 private:
  struct Section {
    std::string name;
    size_t header = 0;  // index of the header line
    size_t end = 0;     // one past the section's last line
  };

  bool Load();
  // Runs `edit` on the file's current lines under the rewrite lock and writes them back when it returns
  // true; `changed` tells whether it did.
  bool Edit(const std::function<bool(std::vector<std::string>& lines)>& edit, bool* changed = nullptr);
  bool Refuse(const std::string& why);
  const Section* FindSection(const std::string& name);
  // Index of the first key line in [begin, end) whose key matches, or `end`.
  size_t FindKeyLine(size_t begin, size_t end, const std::string& key) const;

  std::string full_file_name_;
  std::string file_name_;
  std::string version_key_ = kDefaultVersionKey;

  // The file's lines as last read, valid while the file on disk still has `stamp_`.
  bool loaded_ = false;
  platform::FileStamp stamp_;
  std::vector<std::string> lines_;
  std::vector<Section> sections_;
  // The section found by the last look-up, so consecutive look-ups in one section skip the header search.
  int cached_section_ = -1;

  bool open_ = false;
  size_t read_pos_ = 0;
  std::string last_error_;
};
