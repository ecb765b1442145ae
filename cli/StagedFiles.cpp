#include "cli/StagedFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>

#if defined(_WIN32)
#include <windows.h>

#include <io.h>
#else
#include <sys/file.h>
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

// Moves from to to, never replacing anything: fails with EEXIST when to exists, even if it
// appeared a moment ago, since a hard link cannot replace anything (where links are not
// supported, the system's own no-replace move is the fallback). A link moves as a link.
bool MoveWithoutReplacing(const std::string& from, const std::string& to) {
#if defined(_WIN32)
  if (MoveFileExA(from.c_str(), to.c_str(), 0)) return true;
  errno = GetLastError() == ERROR_ALREADY_EXISTS || GetLastError() == ERROR_FILE_EXISTS ? EEXIST : EACCES;
  return false;
#else
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

// Moves the file at path out of the way to a new temporary name beside it, kept in `aside`.
bool MoveAside(const std::string& path, std::string& aside) {
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    aside = TemporaryNameFor(path, NextSalt());
    if (MoveWithoutReplacing(path, aside)) return true;
    if (errno != EEXIST || !std::filesystem::exists(std::filesystem::symlink_status(path))) break;
  }
  aside.clear();
  return false;
}

// Held while a run places its files, so that two runs writing to one place never mix their
// files. Waits for a run that holds it; gives up (and places unguarded) when the lock file
// cannot be made or an interruption is waiting. The last holder removes the file.
class PlacingLock {
 public:
  explicit PlacingLock(const std::string& path) : path_(PlacingLockPath(path)) {
#if defined(_WIN32)
    // Unshared and removed on close: a second run's open fails until the first closes it.
    for (;;) {
      handle_ = CreateFileA(path_.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                            FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
      if (handle_ != INVALID_HANDLE_VALUE || GetLastError() != ERROR_SHARING_VIOLATION || InterruptionWaiting()) break;
      Sleep(10);
    }
#else
    for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
      fd_ = ::open(path_.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0666);
      if (fd_ < 0) return;
      int locked;
      while ((locked = ::flock(fd_, LOCK_EX)) != 0 && errno == EINTR && !InterruptionWaiting()) {}
      // The file the lock was taken on must still be the one at the name: the holder before
      // removes it when it is done.
      struct stat held, named;
      if (locked == 0 && ::fstat(fd_, &held) == 0 && ::stat(path_.c_str(), &named) == 0 &&
          held.st_dev == named.st_dev && held.st_ino == named.st_ino)
        return;
      ::close(fd_);
      fd_ = -1;
      if (locked != 0) return;
    }
#endif
  }
  ~PlacingLock() {
#if defined(_WIN32)
    if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
#else
    if (fd_ < 0) return;
    ::unlink(path_.c_str());
    ::close(fd_);
#endif
  }
  PlacingLock(const PlacingLock&) = delete;
  PlacingLock& operator=(const PlacingLock&) = delete;

 private:
  std::string path_;
#if defined(_WIN32)
  HANDLE handle_ = INVALID_HANDLE_VALUE;
#else
  int fd_ = -1;
#endif
};

}  // namespace

std::string PlacingLockPath(const std::string& path) {
  const size_t separator = path.find_last_of("/\\");
  const size_t nameStart = separator == std::string::npos ? 0 : separator + 1;
  uint32_t hash = 2166136261u;
  for (size_t i = nameStart; i < path.size(); ++i) hash = (hash ^ static_cast<uint8_t>(path[i])) * 16777619u;
  char name[32];
  std::snprintf(name, sizeof name, ".reelwright-%08x.lock", static_cast<unsigned>(hash));
  return path.substr(0, nameStart) + name;
}

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

bool StagedFiles::PlaceOne(const Staged& file, bool replace, std::string& aside, std::string& problem) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_status there = fs::symlink_status(file.final, error);
  if (fs::exists(there)) {
    if (!replace) {
      problem = "appeared while the export ran; use --force to replace it";
      return false;
    }
    if (!fs::is_regular_file(there) && !fs::is_symlink(there)) {
      problem = kNeverReplaced;
      return false;
    }
    if (!MoveAside(file.final, aside)) {
      problem = std::string("cannot be replaced (") + std::strerror(errno) + ")";
      return false;
    }
  }
  if (MoveWithoutReplacing(file.temporary, file.final)) return true;
  problem = errno == EEXIST ? std::string("another file appeared there while the export ran")
                            : std::string("cannot be put in place (") + std::strerror(errno) + ")";
  if (!aside.empty() && MoveWithoutReplacing(aside, file.final)) aside.clear();
  return false;
}

bool StagedFiles::Place(bool replace, std::string& problemPath, std::string& problem) {
  const InterruptionsDeferred deferred;  // all placed or none, even when interrupted
  if (staged_.empty()) return true;
  const PlacingLock lock(staged_[0].final);
  if (InterruptionWaiting()) {  // stopped while it waited for the lock: nothing is placed
    problemPath = staged_[0].final;
    problem = "not put in place: the run was stopped";
    Discard();
    return false;
  }
  std::vector<std::string> asides;  // for each file placed: where the file it replaced waits, or ""
  for (size_t i = 0; i < staged_.size(); ++i) {
    std::string aside;
    if (PlaceOne(staged_[i], replace, aside, problem)) {
      asides.push_back(aside);
      continue;
    }
    problemPath = staged_[i].final;
    // Take back what this run placed, newest first, and put back what it replaced.
    for (size_t j = i; j-- > 0;) {
      std::remove(staged_[j].final.c_str());
      if (!asides[j].empty()) MoveWithoutReplacing(asides[j], staged_[j].final);
    }
    staged_.erase(staged_.begin(), staged_.begin() + static_cast<std::ptrdiff_t>(i));
    Discard();
    return false;
  }
  for (const std::string& aside : asides) {
    if (!aside.empty()) std::remove(aside.c_str());
  }
  staged_.clear();
  return true;
}

void StagedFiles::Discard() {
  for (const Staged& file : staged_) std::remove(file.temporary.c_str());
  staged_.clear();
}

}  // namespace rw
