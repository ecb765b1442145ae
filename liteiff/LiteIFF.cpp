#include "liteiff/LiteIFF.h"

#include <cerrno>
#include <cstring>
#include <limits>

namespace rw {
namespace {

// Moves to a 64-bit offset from the start: a file may pass 2 GiB before a length gives out.
bool SeekTo(std::FILE* file, uint64_t offset) {
#ifdef _WIN32
  return _fseeki64(file, static_cast<long long>(offset), SEEK_SET) == 0;
#else
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
#endif
}

void StoreBigEndian(uint8_t* out, uint32_t value) {
  out[0] = static_cast<uint8_t>(value >> 24);
  out[1] = static_cast<uint8_t>(value >> 16);
  out[2] = static_cast<uint8_t>(value >> 8);
  out[3] = static_cast<uint8_t>(value);
}

std::string ChunkName(uint32_t id) {
  std::string name(4, ' ');
  StoreBigEndian(reinterpret_cast<uint8_t*>(&name[0]), id);
  return name;
}

}  // namespace

LiteIFF::LiteIFF(size_t bufferSize) : capacity_(bufferSize > 0 ? bufferSize : 1) {}

LiteIFF::~LiteIFF() {
  if (!file_) return;
  Flush();
  std::fclose(file_);
}

bool LiteIFF::Attach(const char* path) {
  if (file_ || buffer_ || !path) return false;  // a writer is attached to one file in its life
  std::FILE* file = std::fopen(path, "wb");
  if (!file) {
    Fail("cannot open the file", errno);
    return false;
  }
  return Attach(file);
}

bool LiteIFF::Attach(std::FILE* file) {
  if (file_ || buffer_ || !file) return false;
  file_ = file;
  // The writer's own buffer does the gathering; the stream's would only copy everything twice.
  std::setvbuf(file_, nullptr, _IONBF, 0);
  buffer_.reset(new uint8_t[capacity_]);
  room_ = ok() ? capacity_ : 0;
  return true;
}

bool LiteIFF::Close() {
  if (!file_) return false;
  Flush();
  const bool closed = std::fclose(file_) == 0;
  const int closeError = errno;
  file_ = nullptr;
  room_ = 0;
  if (!closed) Fail("cannot close the file", closeError);
  return ok();
}

void LiteIFF::OpenChunk(uint32_t id) { OpenForm(0, id, 0); }

void LiteIFF::OpenForm(uint32_t kind, uint32_t id, uint32_t extra) {
  openChunks_.resize(static_cast<size_t>(depth_) + 1);
  const bool grouped = kind == kChunkForm || kind == kChunkNrml;
  openChunks_[static_cast<size_t>(depth_)] = {id, grouped ? kind : 0, Position() + 8};
  if (grouped) {
    WriteBigEndian(kind);
    WriteBigEndian(0);
    WriteBigEndian(id);
    if (kind == kChunkNrml) WriteBigEndian(extra);
  } else {
    WriteBigEndian(id);
    WriteBigEndian(0);
  }
  ++depth_;
}

uint32_t LiteIFF::CloseChunk() {
  if (depth_ == 0) return 0;
  --depth_;
  const ChunkRecord& chunk = openChunks_[static_cast<size_t>(depth_)];
  if (file_ && ok()) {
    const uint64_t length = Position() - chunk.dataStart;
    if (length > kMaxChunkLength)
      Fail("chunk " + ChunkName(chunk.id) + " is " + std::to_string(length) +
               " bytes long, more than its 32-bit length field holds",
           0);
    else
      PatchLength(chunk.dataStart - 4, static_cast<uint32_t>(length));
  }
  return chunk.id;
}

bool LiteIFF::WriteString(const char* text) {
  if (!text) {
    const uint32_t zero = 0;
    return Write(&zero, 4, 1);
  }
  const size_t length = std::strlen(text);
  const uint32_t counted = static_cast<uint32_t>(length);
  const bool wrote = Write(&counted, 4, 1);
  return Write(text, 1, length) && wrote;
}

bool LiteIFF::WriteString(const std::string& text) {
  const uint32_t counted = static_cast<uint32_t>(text.size());
  const bool wrote = Write(&counted, 4, 1);
  return Write(text.data(), 1, text.size()) && wrote;
}

bool LiteIFF::WriteJoinedString(const std::string& prefix, const char* suffix) {
  const size_t suffixLength = std::strlen(suffix);
  const uint32_t counted = static_cast<uint32_t>(prefix.size() + suffixLength);
  const bool wrote = Write(&counted, 4, 1) && Write(prefix.data(), 1, prefix.size());
  return Write(suffix, 1, suffixLength) && wrote;
}

bool LiteIFF::WriteLarge(const void* data, size_t size, size_t count) {
  if (!file_ || !ok()) return false;
  if (size != 0 && count > std::numeric_limits<size_t>::max() / size) {
    Fail("a write is larger than memory can hold", 0);
    return false;
  }
  const size_t bytes = size * count;
  if (!Flush()) return false;
  if (bytes < capacity_) {
    std::memcpy(buffer_.get(), data, bytes);
    used_ = bytes;
    room_ = capacity_ - bytes;
    return true;
  }
  // A block as large as the buffer goes straight to the file.
  if (std::fwrite(data, 1, bytes, file_) != bytes) {
    Fail("cannot write to the file", errno);
    return false;
  }
  flushed_ += bytes;
  return true;
}

void LiteIFF::WriteBigEndian(uint32_t value) {
  uint8_t bytes[4];
  StoreBigEndian(bytes, value);
  Write(bytes, 1, 4);  // on an unattached writer, chunk heads go nowhere
}

void LiteIFF::PatchLength(uint64_t offset, uint32_t value) {
  uint8_t bytes[4];
  StoreBigEndian(bytes, value);
  if (offset >= flushed_) {  // the field is still in the buffer
    std::memcpy(buffer_.get() + (offset - flushed_), bytes, 4);
    return;
  }
  // On the file: a write never goes out in part, so the field lies wholly there.
  if (!SeekTo(file_, offset) || std::fwrite(bytes, 1, 4, file_) != 4 || !SeekTo(file_, flushed_))
    Fail("cannot patch a chunk length in the file", errno);
}

bool LiteIFF::Flush() {
  if (!file_ || !ok()) return false;
  if (used_ > 0 && std::fwrite(buffer_.get(), 1, used_, file_) != used_) {
    Fail("cannot write to the file", errno);
    return false;
  }
  flushed_ += used_;
  used_ = 0;
  room_ = capacity_;
  return true;
}

void LiteIFF::Fail(const std::string& what, int systemError) {
  room_ = 0;
  if (!error_.empty()) return;  // the first failure is the one to report
  error_ = what;
  if (systemError != 0) error_ += std::string(" (") + std::strerror(systemError) + ")";
}

}  // namespace rw
