#pragma once
// Files and folders. Paths are byte strings passed to the system as they are. Every call reports failure as
// its result (false, or an empty value) with the system's message in `error` when the caller asks for it.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace platform {

struct FileAttributes {
  bool exists = false;
  bool is_directory = false;
  bool read_only = false;  // no write bit at all, or this process may not write it
  uint64_t size = 0;
};

// Identifies one version of a file on disk, so a reader can tell that its cached copy is stale. A file
// replaced through rename gets a new inode; one edited in place a new size or change time.
struct FileStamp {
  bool exists = false;
  uint64_t device = 0;
  uint64_t inode = 0;
  uint64_t size = 0;
  int64_t mtime_ns = 0;
  int64_t ctime_ns = 0;
  bool operator==(const FileStamp&) const = default;
};

bool ReadWholeFile(const std::string& path, std::string& content, std::string* error = nullptr);
// Splits text into lines: LF and CR LF end a line and are dropped, every other byte is kept. A last line
// without line break counts; an empty text has no lines.
std::vector<std::string> SplitLines(const std::string& content);
bool ReadLines(const std::string& path, std::vector<std::string>& lines, std::string* error = nullptr);

bool FileExists(const std::string& path);  // a regular file (symbolic links followed)
bool DirectoryExists(const std::string& path);
FileAttributes GetFileAttributes(const std::string& path);
FileStamp GetFileStamp(const std::string& path);

// Creates `path` empty when nothing of that name exists; an existing file is left as it is.
bool CreateEmptyFile(const std::string& path, std::string* error = nullptr);
// Copies `source` over `destination` through WriteFileDurably.
bool CopyFile(const std::string& source, const std::string& destination, std::string* error = nullptr);
bool DeleteFile(const std::string& path, std::string* error = nullptr);
bool RenameFile(const std::string& from, const std::string& to, std::string* error = nullptr);
// Creates the folder and every missing parent (mkdir -p). True when it exists afterwards.
bool MakeDirectories(const std::string& path, std::string* error = nullptr);
// Removes a file or a whole folder tree. True when nothing of that name is left.
bool RemoveTree(const std::string& path, std::string* error = nullptr);

// Names (not paths) of the regular files in `folder` whose name matches the shell pattern `pattern`
// ("*.so", "*.ini"), sorted. The match ignores case, because the program's data files come from systems
// where "DEFAULT.INI" and "default.ini" are one name. Empty when the folder cannot be read.
std::vector<std::string> ListDirectory(const std::string& folder, const std::string& pattern);

// The durable replace: writes `content` to a temporary file, flushes it to disk, gives it the name
// `temp_path` (which must not exist yet; two writers never share one), renames it over `target` and flushes
// the folder, so that after a crash `target` is either the old or the new file. The content is written into
// an unnamed file first, so the temporary name exists only for the moment between naming and rename; file
// systems that refuse unnamed files get `temp_path` created at once instead. Either way the writer holds a
// lock on its temporary file until the rename, which is how RemoveAbandonedFile tells a live writer's file
// from one that a killed writer left behind, and the file carries kTemporaryFileMark, which tells it from a
// user's file of the same name. The new file keeps the permission bits of the file it replaces.
// On failure `target` is unchanged and no temporary file of this call remains; when `temp_path` belonged to
// another writer it is left alone and `name_taken` (when given) is set, so the caller can try another name.
bool ReplaceFileDurably(const std::string& temp_path, const std::string& target, const std::string& content,
                        std::string* error = nullptr, bool* name_taken = nullptr);
// The same with a temporary name of its own beside `target` ("<name>.part<pid>-<n>"); removes the abandoned
// temporary files of earlier writers of `target` first. A `target` that is a symbolic link stays one: the
// file it leads to is replaced.
bool WriteFileDurably(const std::string& target, const std::string& content, std::string* error = nullptr);

// How a rewrite names its temporary files beside the file it replaces (attempt `n` from 1 to `max_tries`),
// and which names in that folder are such names, of this file or of another that shares them.
struct TemporaryNames {
  std::function<std::string(const std::string& target, int n)> name;
  int max_tries = 1;
  std::function<bool(const std::string& target, const std::string& name)> is_temporary;
};
// The new content of a file from its current one (empty when there is no file yet); false leaves the file
// as it is. It may be asked more than once and must depend on `content` alone.
using ContentChange = std::function<bool(const std::string& content, std::string& new_content)>;

// Reads `path`, lets `change` decide its new content and replaces it through ReplaceFileDurably, all under
// an exclusive lock on its folder, so two programs that change the same file never lose each other's
// change. Reads need no lock: a reader sees the old or the new file whole. Before the write, the temporary
// files that killed writers left in the folder are removed. Missing folders are created; a symbolic link
// stays a link and the file it leads to is replaced. A file without any write bit is refused even where
// this process could write it, so a shipped file keeps its values. `written` tells whether the file was
// replaced; on failure `reason` gets the system's message ("Permission denied(0xD)").
bool RewriteFile(const std::string& path, const ContentChange& change, const TemporaryNames& names,
                 bool& written, std::string* reason = nullptr);

// The extended attribute that marks a temporary file of this program; its value is the name the file was
// given as a temporary file.
inline constexpr const char* kTemporaryFileMark = "user.msrcfg.temporary";
// Removes `path` when it is a temporary file whose writer is gone: a regular file that carries the mark
// for this very name and that nobody holds locked. A live writer's file (locked until its rename), a file
// without the mark (a user's, or one on a file system that takes no marks) and anything that is not a
// regular file stay. True when the file was removed.
bool RemoveAbandonedFile(const std::string& path);
// RemoveAbandonedFile for every file in `folder` whose name `is_temporary_name` accepts.
void RemoveAbandonedFiles(const std::string& folder,
                          const std::function<bool(const std::string& name)>& is_temporary_name);

// Whether ReplaceFileDurably writes into an unnamed file first (the default). Off, it creates the temporary
// name at once, as it must on file systems without unnamed files; tests turn it off to run that way too.
void SetUnnamedTempFiles(bool allowed);

// Creates a new, empty folder with a unique name "<parent>/<prefix>XXXXXX"; empty text on failure.
std::string MakeUniqueDirectory(const std::string& parent, const std::string& prefix,
                                std::string* error = nullptr);

}  // namespace platform
