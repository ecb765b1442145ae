#include "liteiff/LiteIFF.h"

#include <cerrno>
#include <cstring>

namespace rw {

LiteIFF::~LiteIFF() {
  if (file_) std::fclose(file_);
}

bool LiteIFF::Attach(const char* path) {
  if (file_ || !path) return false;  // a writer is attached to one file in its life
  file_ = std::fopen(path, "wb");
  stream_ = file_;
  return file_ != nullptr;
}

bool LiteIFF::Attach(std::FILE* file) {
  if (file_ || !file) return false;
  file_ = file;
  stream_ = file_;
  return true;
}

bool LiteIFF::Close() {
  if (!file_) return error_.empty();
  const bool failed = std::ferror(file_) != 0;
  const int failure = errno;
  const bool closed = std::fclose(file_) == 0;
  if ((failed || !closed) && error_.empty()) error_ = std::strerror(failed ? failure : errno);
  file_ = stream_ = nullptr;
  return error_.empty();
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
  if (stream_) {
    const int32_t end = Position();
    std::fseek(stream_, chunk.dataStart - 4, SEEK_SET);
    WriteBigEndian(static_cast<uint32_t>(end - chunk.dataStart));
    std::fseek(stream_, end, SEEK_SET);
  }
  return chunk.id;
}

bool LiteIFF::Write(const void* data, size_t size, size_t count) {
  if (!file_) return false;
  std::fwrite(data, size, count, file_);
  return true;
}

bool LiteIFF::WriteString(const char* text) {
  if (!file_) return false;
  if (!text) {
    const uint32_t zero = 0;
    return Write(&zero, 4, 1);
  }
  const uint32_t length = static_cast<uint32_t>(std::strlen(text));
  Write(&length, 4, 1);
  return Write(text, 1, length);
}

bool LiteIFF::WriteString(const std::string& text) {
  if (!file_) return false;
  const uint32_t length = static_cast<uint32_t>(text.size());
  Write(&length, 4, 1);
  return Write(text.data(), 1, length);
}

void LiteIFF::WriteBigEndian(uint32_t value) {
  if (!stream_) return;  // chunk heads on an unattached writer go nowhere
  std::fputc(static_cast<int>((value >> 24) & 0xFF), stream_);
  std::fputc(static_cast<int>((value >> 16) & 0xFF), stream_);
  std::fputc(static_cast<int>((value >> 8) & 0xFF), stream_);
  std::fputc(static_cast<int>(value & 0xFF), stream_);
}

int32_t LiteIFF::Position() const { return stream_ ? static_cast<int32_t>(std::ftell(stream_)) : 0; }

}  // namespace rw
