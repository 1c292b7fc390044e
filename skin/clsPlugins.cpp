#include "skin/clsPlugins.h"

#include "platform/paths.h"
#include "platform/text.h"

namespace {

// The exported function `name` of `library`, as type F, or nullptr.
template <typename F>
F Export(const platform::SharedLibrary& library, const char* name) {
  return reinterpret_cast<F>(library.FindFunction(name));
}

bool Fail(std::string* reason, const std::string& text) {
  if (reason != nullptr) *reason = text;
  return false;
}

}  // namespace

std::string clsPlugins::IdentifierOf(const std::string& path) {
  std::string name = platform::BaseName(path);
  const size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.erase(dot);
  return name + ".Query";
}

clsPlugins::Library* clsPlugins::Find(const std::string& path) {
  for (Library& entry : libraries_) {
    if (entry.library->Path() == path) return &entry;
  }
  return nullptr;
}

const clsPlugins::Library* clsPlugins::Find(const std::string& path) const {
  return const_cast<clsPlugins*>(this)->Find(path);
}

bool clsPlugins::RegisterServer(const std::string& path, std::string* reason) {
  Library* entry = Find(path);
  if (entry == nullptr) {
    std::string error;
    std::shared_ptr<platform::SharedLibrary> library = platform::SharedLibrary::Open(path, &error);
    if (!library) return Fail(reason, error);
    // Nothing of a library is called before its contract version is known to match: a skin built against
    // another layout of the query object would crash the program at its first call.
    const auto version = Export<MsrSkinContractVersionFunction>(*library, kMsrSkinContractVersionSymbol);
    if (version == nullptr) {
      return Fail(reason, path + ": not a skin library (no " + kMsrSkinContractVersionSymbol + ")");
    }
    if (Export<MsrSkinRegisterFunction>(*library, kMsrSkinRegisterSymbol) == nullptr) {
      return Fail(reason, path + ": no " + kMsrSkinRegisterSymbol);
    }
    const int skin_version = version();
    if (skin_version != kMsrSkinContractVersion) {
      return Fail(reason, path + ": skin contract version " + std::to_string(skin_version) +
                              ", this program needs version " + std::to_string(kMsrSkinContractVersion));
    }
    libraries_.push_back({std::move(library), {}});
    entry = &libraries_.back();
  }
  Export<MsrSkinRegisterFunction>(*entry->library, kMsrSkinRegisterSymbol)();
  entry->identifier = IdentifierOf(path);
  return true;
}

bool clsPlugins::UnRegisterServer(const std::string& path, std::string* reason) {
  Library* entry = Find(path);
  if (entry == nullptr) return Fail(reason, path + ": not loaded");
  const auto unregister = Export<MsrSkinRegisterFunction>(*entry->library, kMsrSkinUnregisterSymbol);
  if (unregister != nullptr) unregister();
  libraries_.erase(libraries_.begin() + (entry - libraries_.data()));
  if (unregister == nullptr) return Fail(reason, path + ": no " + kMsrSkinUnregisterSymbol);
  return true;
}

std::unique_ptr<SkinQueryObject> clsPlugins::CreateQuery(const std::string& identifier, std::string* reason) {
  for (const Library& entry : libraries_) {
    if (entry.identifier.empty() || !platform::text::EqualNoCase(entry.identifier, identifier)) continue;
    const auto create = Export<MsrSkinCreateQueryFunction>(*entry.library, kMsrSkinCreateQuerySymbol);
    const auto release = Export<MsrSkinReleaseQueryFunction>(*entry.library, kMsrSkinReleaseQuerySymbol);
    if (create == nullptr || release == nullptr) {
      Fail(reason,
           entry.library->Path() + ": no " + kMsrSkinCreateQuerySymbol + " or " + kMsrSkinReleaseQuerySymbol);
      return nullptr;
    }
    MsrSkinQuery* query = create(kMsrSkinContractVersion);
    if (query == nullptr) {
      Fail(reason, entry.library->Path() + ": the skin made no query object");
      return nullptr;
    }
    return std::make_unique<SkinQueryObject>(entry.library, query, release);
  }
  Fail(reason, "no registered skin library provides " + identifier);
  return nullptr;
}
