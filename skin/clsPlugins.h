#pragma once
// The skin libraries that the program has taken up, and the query objects they make.
//
// Registering a library here is what the component registry does on other systems: the library is loaded
// (once per path), its contract version checked, its DllRegisterServer called, and the identifier of its
// query object, "<library name>.Query", recorded in this object's table so that clsSkinQuery can create the
// query by identifier. Nothing is written to disk: the table lives as long as this object, and every start
// of the program registers the Skin folder afresh. Skins therefore need not keep anything in
// DllRegisterServer; the shipped ones just return success.
//
// A library stays loaded while this object lists it or while a query object made by it lives, whichever is
// longer, so no code is ever unloaded under a caller.

#include <memory>
#include <string>
#include <vector>

#include "platform/shared_library.h"
#include "skin/skin_contract.h"

// A query object of a skin, with the library that made it held open. Releases the object through the
// skin's own release function.
class SkinQueryObject {
 public:
  SkinQueryObject(std::shared_ptr<platform::SharedLibrary> library, MsrSkinQuery* query,
                  MsrSkinReleaseQueryFunction release)
      : library_(std::move(library)), query_(query), release_(release) {}
  ~SkinQueryObject() { release_(query_); }
  SkinQueryObject(const SkinQueryObject&) = delete;
  SkinQueryObject& operator=(const SkinQueryObject&) = delete;

  MsrSkinQuery& Query() const { return *query_; }
  const std::string& LibraryPath() const { return library_->Path(); }

 private:
  std::shared_ptr<platform::SharedLibrary> library_;
  MsrSkinQuery* query_;
  MsrSkinReleaseQueryFunction release_;
};

class clsPlugins {
 public:
  clsPlugins() = default;
  ~clsPlugins() { ReleaseAll(); }
  clsPlugins(const clsPlugins&) = delete;
  clsPlugins& operator=(const clsPlugins&) = delete;

  // Loads the library at `path` (an absolute path) unless it is loaded already, checks that it speaks this
  // program's contract version, calls its DllRegisterServer and records its query identifier. True when
  // DllRegisterServer exists and was called. Otherwise false with the reason in `reason` (the path, ": ",
  // what is wrong): the library cannot
  // be loaded (not a shared library, truncated, missing dependency), exports no DllRegisterServer, or was
  // built for another contract version. A library refused that way is unloaded again.
  bool RegisterServer(const std::string& path, std::string* reason = nullptr);
  // Calls DllUnregisterServer of a listed library, forgets its identifier and drops it from the list. True
  // when the function exists and was called.
  bool UnRegisterServer(const std::string& path, std::string* reason = nullptr);

  // Creates the query object of `identifier` ("<library name>.Query", compared without regard to case).
  // nullptr with the reason when no registered library has that identifier or its factory refuses.
  std::unique_ptr<SkinQueryObject> CreateQuery(const std::string& identifier, std::string* reason = nullptr);

  // The query identifier a library at `path` registers: its file name without the extension, ".Query".
  static std::string IdentifierOf(const std::string& path);

  bool IsLoaded(const std::string& path) const { return Find(path) != nullptr; }
  size_t LoadedCount() const { return libraries_.size(); }
  // Drops every library from the list (each unloads when no query object of it is left).
  void ReleaseAll() { libraries_.clear(); }

 private:
  struct Library {
    std::shared_ptr<platform::SharedLibrary> library;
    std::string identifier;  // empty until DllRegisterServer was called
  };

  Library* Find(const std::string& path);
  const Library* Find(const std::string& path) const;

  std::vector<Library> libraries_;
};
