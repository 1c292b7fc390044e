#pragma once
// Where the program finds its own files and where it keeps the user's.

#include <string>

namespace platform {

// Folder of the running executable (from /proc/self/exe), so that a build folder or an unpacked archive runs
// where it lies; the environment variable MSRCFG_HOME names another folder. No trailing "/". The files the
// programs read are found through ProgramFolders below, which knows the installed layout as well.
std::string ProgramDir();

// The folders the programs read their own files from.
struct ProgramFolders {
  // Trakset.ini, AliasName.ini, Default/, icons/, and Skin/ with the skin catalogue and definition files.
  std::string data;
  // The skin libraries (*.so) themselves.
  std::string skins;
  // The files belong to an installed package: the programs never write there, not even when run by root.
  bool installed = false;
  bool operator==(const ProgramFolders&) const = default;
};
// The folders of a program whose executable lies in `executable_dir`. The build names the folders of an
// installation; an executable in its program folder (/usr/bin) is the installed one and gets them. Anywhere
// else (a build folder, which is never /usr/bin, or an unpacked archive) everything lies beside the
// executable: the data there, the skin libraries in its Skin/.
ProgramFolders ProgramFoldersOf(const std::string& executable_dir);
// The running program's folders: MSRCFG_HOME's folder as a portable one when it is set, else
// ProgramFoldersOf(the executable's folder). Worked out on every call.
ProgramFolders CurrentProgramFolders();
// CurrentProgramFolders().data and .skins.
std::string DataDir();
std::string SkinLibraryDir();

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
