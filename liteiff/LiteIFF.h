// LiteIFF: writes a tree of IFF-style chunks to one file. Heads (ids, lengths, type words)
// are big-endian; everything handed to Write goes out as it lies in memory. Lengths are
// patched when a chunk closes; nothing is aligned.
#ifndef REELWRIGHT_LITEIFF_LITEIFF_H
#define REELWRIGHT_LITEIFF_LITEIFF_H

#include <cstdint>
#include <cstdio>
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

class LiteIFF {
 public:
  LiteIFF() = default;
  ~LiteIFF();  // closes the file; open chunks keep 0 in their length fields
  LiteIFF(const LiteIFF&) = delete;
  LiteIFF& operator=(const LiteIFF&) = delete;

  // Opens path with "wb" (creates or empties it). Returns false, and stays unattached, when it cannot.
  bool Attach(const char* path);
  // Writes to file, opened for binary writing, which the writer now owns. False for null.
  bool Attach(std::FILE* file);
  // Closes the file. True when every byte reached it; otherwise error() says why.
  bool Close();
  const std::string& error() const { return error_; }

  // Begins a plain chunk: 8 bytes of head.
  void OpenChunk(uint32_t id);
  // kind kChunkForm: "FORM", length, id (12 bytes). kind kChunkNrml: "NRML", length, id, extra
  // (16 bytes). Any other kind: a plain chunk with id, extra ignored.
  void OpenForm(uint32_t kind, uint32_t id, uint32_t extra);
  // Ends the innermost chunk and patches its length. Returns its id (the type word for FORM and
  // NRML), or 0 when no chunk is open.
  uint32_t CloseChunk();

  // Writes count items of size bytes as they lie in memory. False (nothing written) when unattached.
  bool Write(const void* data, size_t size, size_t count);
  // Writes a counted text: 32-bit length, then the bytes, no terminator. Null writes length 0.
  bool WriteString(const char* text);
  bool WriteString(const std::string& text);

  int32_t depth() const { return depth_; }

 private:
  struct ChunkRecord {
    uint32_t id;
    uint32_t kind;
    int32_t dataStart;  // offset of the first byte behind the 8-byte head
  };
  void WriteBigEndian(uint32_t value);
  int32_t Position() const;

  int32_t depth_ = 0;
  std::vector<ChunkRecord> openChunks_;
  std::FILE* stream_ = nullptr;
  std::FILE* file_ = nullptr;
  std::string error_;
};

}  // namespace rw

#endif
