#include "cli/StagedFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <random>

#if defined(_WIN32)
#include <windows.h>

#include <io.h>
#else
#include <unistd.h>
#endif

namespace rw {
namespace {

constexpr int kNameAttempts = 100;

// ".reelwright-XXXXXXXX.tmp" in the folder of finalPath: hidden, short enough for any folder
// that can hold the final name, and plainly ours if a crash leaves it behind.
std::string TemporaryNameFor(const std::string& finalPath, uint32_t salt) {
  const size_t separator = finalPath.find_last_of("/\\");
  const size_t nameStart = separator == std::string::npos ? 0 : separator + 1;
  char name[32];
  std::snprintf(name, sizeof name, ".reelwright-%08x.tmp", static_cast<unsigned>(salt));
  return finalPath.substr(0, nameStart) + name;
}

// Opens a file that did not exist before this call.
std::FILE* OpenNewFile(const std::string& path, const char* mode) {
  const bool text = std::strchr(mode, 't') != nullptr;
#if defined(_WIN32)
  // Shared for deletion: the console handler removes it while it is still open for writing.
  const HANDLE handle = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                    CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    errno = GetLastError() == ERROR_FILE_EXISTS || GetLastError() == ERROR_ALREADY_EXISTS ? EEXIST : EACCES;
    return nullptr;
  }
  const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_WRONLY | (text ? _O_TEXT : _O_BINARY));
  if (fd < 0) {
    CloseHandle(handle);
    return nullptr;
  }
  std::FILE* file = _fdopen(fd, text ? "wt" : "wb");
  if (!file) _close(fd);
#else
  (void)text;
  const int fd = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY, 0666);
  if (fd < 0) return nullptr;
  std::FILE* file = ::fdopen(fd, "wb");
  if (!file) ::close(fd);
#endif
  return file;
}

// Moves from to to. Without replace it fails with EEXIST when to exists, even if it appeared a
// moment ago: a hard link cannot replace anything (and where links are not supported, the
// system's own no-replace move is the fallback).
bool MoveFile(const std::string& from, const std::string& to, bool replace) {
#if defined(_WIN32)
  if (MoveFileExA(from.c_str(), to.c_str(), replace ? MOVEFILE_REPLACE_EXISTING : 0)) return true;
  errno = GetLastError() == ERROR_ALREADY_EXISTS || GetLastError() == ERROR_FILE_EXISTS ? EEXIST : EACCES;
  return false;
#else
  if (replace) return std::rename(from.c_str(), to.c_str()) == 0;
  if (::link(from.c_str(), to.c_str()) == 0) {
    ::unlink(from.c_str());
    return true;
  }
  if (errno == EEXIST) return false;
  struct stat existing;
  if (::lstat(to.c_str(), &existing) == 0) {
    errno = EEXIST;
    return false;
  }
  return std::rename(from.c_str(), to.c_str()) == 0;
#endif
}

uint32_t NextSalt() {
  static std::atomic<uint32_t> counter{std::random_device{}()};
  return counter++;
}

}  // namespace

StagedFiles::~StagedFiles() { Discard(); }

std::FILE* StagedFiles::Open(const std::string& finalPath, const char* mode) {
  const InterruptionsDeferred deferred;  // a file made is a file guarded
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    const std::string temporary = TemporaryNameFor(finalPath, NextSalt());
    if (std::FILE* file = OpenNewFile(temporary, mode)) {
      staged_.push_back({temporary, finalPath, std::make_unique<RemovedOnInterrupt>(temporary)});
      return file;
    }
    if (errno != EEXIST) return nullptr;
  }
  return nullptr;
}

bool StagedFiles::Place(bool replace, std::string& problemPath, std::string& problem) {
  const InterruptionsDeferred deferred;  // all placed or none, even when interrupted
  for (size_t i = 0; i < staged_.size(); ++i) {
    if (MoveFile(staged_[i].temporary, staged_[i].final, replace)) continue;
    const int failure = errno;
    problemPath = staged_[i].final;
    problem = failure == EEXIST ? std::string("appeared while the export ran; use --force to replace it")
                                : std::string("cannot be put in place (") + std::strerror(failure) + ")";
    // What this run placed did not exist before it (nothing is replaced without --force).
    for (size_t j = 0; j < i; ++j) {
      if (!replace) std::remove(staged_[j].final.c_str());
    }
    staged_.erase(staged_.begin(), staged_.begin() + static_cast<std::ptrdiff_t>(i));
    Discard();
    return false;
  }
  staged_.clear();
  return true;
}

std::string StagedFiles::TemporaryPathOf(const std::string& finalPath) const {
  for (const Staged& file : staged_)
    if (file.final == finalPath) return file.temporary;
  return std::string();
}

void StagedFiles::Discard() {
  for (const Staged& file : staged_) std::remove(file.temporary.c_str());
  staged_.clear();
}

bool WriteFileStaged(const std::string& path, const std::string& bytes, bool replace, std::string& problem) {
  StagedFiles staged;
  std::FILE* file = staged.Open(path, "wb");
  bool written = file && std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  if (file && std::fclose(file) != 0) written = false;
  if (!written) {
    problem = std::string("cannot be written (") + std::strerror(errno) + ")";
    return false;
  }
  std::string problemPath;
  return staged.Place(replace, problemPath, problem);
}

}  // namespace rw
