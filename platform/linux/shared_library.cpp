#include "platform/shared_library.h"

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "platform/system_error.h"

namespace platform {
namespace {

bool ReadAt(int fd, void* buffer, size_t size, off_t offset) {
  return pread(fd, buffer, size, offset) == static_cast<ssize_t>(size);
}

// The loader maps a library's segments as its program headers describe them and touches their pages
// without checking that the file is long enough; a library cut short (an interrupted copy) then kills
// the process with a bus error inside dlopen. So before dlopen, check that the file is an ELF object of
// this machine's class whose program headers and loadable contents all lie inside the file. Damage inside
// those bounds is left to the loader's own checks.
bool CheckElfImage(const std::string& path, std::string* error) {
  const auto fail = [&](const std::string& why) {
    if (error != nullptr) *error = path + ": " + why;
    return false;
  };
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return fail(GetSystemErrorText(errno));
  struct Closer {
    int fd;
    ~Closer() { close(fd); }
  } closer{fd};
  struct stat info;
  if (fstat(fd, &info) != 0) return fail(GetSystemErrorText(errno));
  if (!S_ISREG(info.st_mode)) return fail("not a regular file");
  const auto size = static_cast<uint64_t>(info.st_size);

  ElfW(Ehdr) header;
  if (!ReadAt(fd, &header, sizeof header, 0) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) {
    return fail("not a shared library (no ELF header)");
  }
  constexpr unsigned char kNativeClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
  if (header.e_ident[EI_CLASS] != kNativeClass) return fail("a library for another word size");
  if (header.e_phentsize != sizeof(ElfW(Phdr)) || header.e_phnum == 0) return fail("no program headers");
  const uint64_t table_end =
      static_cast<uint64_t>(header.e_phoff) + uint64_t{header.e_phnum} * sizeof(ElfW(Phdr));
  if (table_end > size) return fail("file cut short (program headers missing)");
  std::vector<ElfW(Phdr)> segments(header.e_phnum);
  if (!ReadAt(fd, segments.data(), segments.size() * sizeof(ElfW(Phdr)),
              static_cast<off_t>(header.e_phoff))) {
    return fail("cannot read the program headers");
  }
  for (const ElfW(Phdr) & segment : segments) {
    if (segment.p_type != PT_LOAD && segment.p_type != PT_DYNAMIC) continue;
    if (static_cast<uint64_t>(segment.p_offset) + segment.p_filesz > size) {
      return fail("file cut short (" + std::to_string(size) + " bytes, a segment ends at " +
                  std::to_string(segment.p_offset + segment.p_filesz) + ")");
    }
  }
  return true;
}

}  // namespace

std::unique_ptr<SharedLibrary> SharedLibrary::Open(const std::string& path, std::string* error) {
  if (path.empty() || path.front() != '/') {
    if (error != nullptr) *error = path + ": not an absolute path";
    return nullptr;
  }
  if (!CheckElfImage(path, error)) return nullptr;
  dlerror();
  // RTLD_LOCAL: two skins may export the same names; each keeps its own.
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    if (error != nullptr) {
      const char* message = dlerror();
      *error = message != nullptr ? message : "cannot load " + path;
    }
    return nullptr;
  }
  return std::unique_ptr<SharedLibrary>(new SharedLibrary(path, handle));
}

SharedLibrary::~SharedLibrary() {
  dlclose(handle_);
}

SharedLibrary::Function SharedLibrary::FindFunction(const std::string& name) const {
  dlerror();
  void* address = dlsym(handle_, name.c_str());
  if (address == nullptr) return nullptr;
  // The loader hands out functions as object pointers; copying the bits is the conversion it documents.
  Function function = nullptr;
  static_assert(sizeof function == sizeof address);
  std::memcpy(&function, &address, sizeof function);
  return function;
}

}  // namespace platform
