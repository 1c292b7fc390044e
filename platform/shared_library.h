#pragma once
// Loading a shared library (a skin plug-in) and finding its exported symbols.

#include <memory>
#include <string>

namespace platform {

class SharedLibrary {
 public:
  // Loads the library at `path` and resolves all of its symbols at once, so that a library with a missing
  // dependency fails here and not at its first call. Only absolute paths are accepted: a bare name would be
  // looked up along the system's search path and could load some other library of the same name.
  // nullptr on failure, with the reason in `error`: the path, ": " and what is wrong (for a file the
  // loader refuses, the loader's own message).
  static std::unique_ptr<SharedLibrary> Open(const std::string& path, std::string* error = nullptr);

  // Unloads the library. Code and data of the library must no longer be in use.
  ~SharedLibrary();
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;

  const std::string& Path() const { return path_; }

  // The address of the exported function `name`, or nullptr when the library does not export it.
  // The caller casts it to the function's real type.
  using Function = void (*)();
  Function FindFunction(const std::string& name) const;

 private:
  SharedLibrary(std::string path, void* handle) : path_(std::move(path)), handle_(handle) {}

  std::string path_;
  void* handle_;
};

}  // namespace platform
