// LiteIFF: writes a tree of IFF-style chunks to one file. Heads (ids, lengths, type words)
// are big-endian; everything handed to Write goes out as it lies in memory. Lengths are
// patched when a chunk closes; nothing is aligned.
//
// Bytes gather in a buffer of the writer's own and reach the file in large blocks. A length
// whose field is still in the buffer is patched there; an older one is patched on the file.
// The first failure (a write, a seek, the close, a chunk too long for its length field) is
// kept: every later write does nothing, and ok() and error() tell the caller.
#ifndef REELWRIGHT_LITEIFF_LITEIFF_H
#define REELWRIGHT_LITEIFF_LITEIFF_H

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace rw {

// A chunk id: four ASCII letters, the first in the most significant byte.
constexpr uint32_t MakeChunkId(const char (&t)[5]) {
  return (uint32_t(uint8_t(t[0])) << 24) | (uint32_t(uint8_t(t[1])) << 16) | (uint32_t(uint8_t(t[2])) << 8) |
         uint32_t(uint8_t(t[3]));
}

constexpr uint32_t kChunkForm = MakeChunkId("FORM");
constexpr uint32_t kChunkNrml = MakeChunkId("NRML");

// The largest length a chunk head can state.
constexpr uint64_t kMaxChunkLength = 0xFFFFFFFFu;
// The writer's buffer: large enough that a 200 MB file takes a few hundred system calls.
constexpr size_t kLiteIFFBufferSize = size_t(1) << 20;

class LiteIFF {
 public:
  // bufferSize: bytes gathered before they go to the file (0 counts as 1).
  explicit LiteIFF(size_t bufferSize = kLiteIFFBufferSize);
  ~LiteIFF();  // writes what is buffered and closes the file; open chunks keep 0 in their length fields
  LiteIFF(const LiteIFF&) = delete;
  LiteIFF& operator=(const LiteIFF&) = delete;

  // Opens path with "wb" (creates or empties it). Returns false, and stays unattached, when it
  // cannot; error() then says why.
  bool Attach(const char* path);
  // Writes to file, opened for binary writing, which the writer now owns. False for null (or
  // when already attached).
  bool Attach(std::FILE* file);
  // Writes what is buffered and closes the file. True when every byte reached the file and
  // every length fitted; false after any failure (error() says which) or when no file is
  // attached (never attached, or already closed).
  bool Close();

  // Begins a plain chunk: 8 bytes of head.
  void OpenChunk(uint32_t id);
  // kind kChunkForm: "FORM", length, id (12 bytes). kind kChunkNrml: "NRML", length, id, extra
  // (16 bytes). Any other kind: a plain chunk with id, extra ignored.
  void OpenForm(uint32_t kind, uint32_t id, uint32_t extra);
  // Ends the innermost chunk and patches its length. Returns its id (the type word for FORM and
  // NRML), or 0 when no chunk is open. A chunk longer than kMaxChunkLength is a failure: its
  // length field keeps 0.
  uint32_t CloseChunk();

  // Writes count items of size bytes as they lie in memory. False (nothing written) when
  // unattached or after a failure.
  bool Write(const void* data, size_t size, size_t count) {
    // Both factors at most room_ (under 2^32) keep the product exact in 64 bits on every target.
    if (size <= room_ && count <= room_) {
      const uint64_t bytes = uint64_t(size) * count;
      if (bytes <= room_) {
        std::memcpy(buffer_.get() + used_, data, static_cast<size_t>(bytes));
        used_ += static_cast<size_t>(bytes);
        room_ -= static_cast<size_t>(bytes);
        return true;
      }
    }
    return WriteLarge(data, size, count);
  }
  // Writes a counted text: 32-bit length, then the bytes, no terminator. Null writes length 0.
  bool WriteString(const char* text);
  bool WriteString(const std::string& text);
  // Writes the counted text prefix + suffix without joining them first.
  bool WriteJoinedString(const std::string& prefix, const char* suffix);

  int32_t depth() const { return depth_; }
  // Bytes written so far, heads included, whether still in the buffer or not.
  uint64_t position() const { return Position(); }
  // False once anything failed; error() then holds the first failure, with the system's text.
  bool ok() const { return error_.empty(); }
  const std::string& error() const { return error_; }

 private:
  struct ChunkRecord {
    uint32_t id;
    uint32_t kind;
    uint64_t dataStart;  // offset of the first byte behind the 8-byte head
  };
  bool WriteLarge(const void* data, size_t size, size_t count);
  void WriteBigEndian(uint32_t value);
  void PatchLength(uint64_t offset, uint32_t value);
  bool Flush();
  void Fail(const std::string& what, int systemError);
  uint64_t Position() const { return flushed_ + used_; }

  int32_t depth_ = 0;
  std::vector<ChunkRecord> openChunks_;
  std::FILE* file_ = nullptr;
  std::unique_ptr<uint8_t[]> buffer_;
  size_t capacity_ = 0;
  size_t used_ = 0;
  size_t room_ = 0;       // capacity_ - used_ while attached and well; 0 sends every write to WriteLarge
  uint64_t flushed_ = 0;  // bytes already handed to the file; the buffer starts there
  std::string error_;
};

}  // namespace rw

#endif
