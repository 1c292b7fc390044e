#include "platform/paths.h"

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <vector>

#include "platform/file_system.h"

namespace platform {
namespace {

constexpr const char* kApplicationName = "zk4100_MSR";
// Beside the executable, the skin libraries share Skin/ with the catalogue and definition files.
constexpr const char* kSkinFolder = "Skin";

std::string StripTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string HomeDir() {
  std::string home = GetEnvironment("HOME");
  if (!home.empty()) return home;
  // A service or a test harness may run without HOME; the password database still knows the folder.
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<size_t>(size) : 16384);
  passwd entry;
  passwd* result = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &result) == 0 && result != nullptr &&
      result->pw_dir != nullptr) {
    return result->pw_dir;
  }
  return {};
}

std::string ExecutableDir() {
  std::vector<char> buffer(4096);
  for (;;) {
    ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (n < 0) return ".";
    if (static_cast<size_t>(n) < buffer.size())
      return DirName(std::string(buffer.data(), static_cast<size_t>(n)));
    buffer.resize(buffer.size() * 2);
  }
}

// Everything beside the executable (or in MSRCFG_HOME's folder).
ProgramFolders PortableFolders(const std::string& folder) {
  const std::string dir = StripTrailingSlashes(folder);
  return {dir, Join(dir, kSkinFolder), false};
}

}  // namespace

std::string GetEnvironment(const std::string& name, const std::string& fallback) {
  const char* value = getenv(name.c_str());
  if (value == nullptr || *value == '\0') return fallback;
  return value;
}

std::string ProgramDir() {
  std::string home = GetEnvironment("MSRCFG_HOME");
  if (!home.empty()) return StripTrailingSlashes(home);
  return ExecutableDir();
}

ProgramFolders ProgramFoldersOf(const std::string& executable_dir) {
  const std::string dir = StripTrailingSlashes(executable_dir);
  // Installed is told by where the executable lies: a build folder is never the configured program folder
  // (/usr/bin). The kernel resolves symbolic links in /proc/self/exe, so /bin/msrcfg on a merged-/usr
  // system is seen under its configured name as well.
  if (dir == StripTrailingSlashes(MSR_INSTALL_FULL_BINDIR))
    return {StripTrailingSlashes(MSR_INSTALL_FULL_DATADIR), StripTrailingSlashes(MSR_INSTALL_FULL_SKINDIR),
            true};
  return PortableFolders(dir);
}

ProgramFolders CurrentProgramFolders() {
  const std::string home = GetEnvironment("MSRCFG_HOME");
  // A folder named on purpose is a portable installation, wherever it lies.
  if (!home.empty()) return PortableFolders(home);
  return ProgramFoldersOf(ExecutableDir());
}

std::string DataDir() {
  return CurrentProgramFolders().data;
}

std::string SkinLibraryDir() {
  return CurrentProgramFolders().skins;
}

std::string UserConfigDir() {
  std::string base = GetEnvironment("XDG_CONFIG_HOME");
  // The XDG rules ignore a relative value; so do we, rather than write beside the current folder.
  if (base.empty() || base[0] != '/') base = Join(HomeDir(), ".config");
  return Join(StripTrailingSlashes(base), kApplicationName);
}

bool EnsureUserConfigDir(std::string* error) {
  return MakeDirectories(UserConfigDir(), error);
}

std::string Join(const std::string& dir, const std::string& name) {
  if (dir.empty() || (!name.empty() && name[0] == '/')) return name;
  if (name.empty()) return dir;
  if (dir.back() == '/') return dir + name;
  return dir + "/" + name;
}

std::string BaseName(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string DirName(const std::string& path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return {};
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

}  // namespace platform
