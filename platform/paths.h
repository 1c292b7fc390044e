#pragma once
// Where the program finds its own files and where it keeps the user's.

#include <string>

namespace platform {

// Folder of the running executable (from /proc/self/exe), so that a build folder or an unpacked archive runs
// where it lies; the environment variable MSRCFG_HOME names another folder. No trailing "/".
std::string ProgramDir();

// The user's settings folder: $XDG_CONFIG_HOME/zk4100_MSR, or $HOME/.config/zk4100_MSR, the home folder
// being taken from the password database when HOME is unset. Worked out on every call; not created.
std::string UserConfigDir();
// Creates UserConfigDir() with its parents when missing. True when it exists afterwards.
bool EnsureUserConfigDir(std::string* error = nullptr);

// `dir` + "/" + `name`, with exactly one "/" between them; `name` alone when `dir` is empty, and `name`
// as it is when it is already absolute.
std::string Join(const std::string& dir, const std::string& name);
// The part after the last "/" ("Trakset.ini"), and the part before it ("/opt/msr"; "/" for "/x"; "" for "x").
std::string BaseName(const std::string& path);
std::string DirName(const std::string& path);

// An environment variable, or `fallback` when it is unset or empty.
std::string GetEnvironment(const std::string& name, const std::string& fallback = "");

}  // namespace platform
