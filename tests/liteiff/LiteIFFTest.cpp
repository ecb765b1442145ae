#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "liteiff/LiteIFF.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

using test::FromHex;
using test::ToHex;

constexpr uint32_t kNis = MakeChunkId("NIS ");
constexpr uint32_t kVers = MakeChunkId("VERS");

struct FramingCase {
  const char* what;
  std::function<void(LiteIFF&)> write;
  const char* hex;
};

// Each case runs with buffers of 1 byte (every length patched on the file), 8 bytes (a length
// field opens the buffer: patched in memory at its first byte), 12 bytes (some on the file, some
// in memory) and the default (all patched in memory).
void PrintTo(const FramingCase& c, std::ostream* os) { *os << c.what; }

class FramingTest : public ::testing::TestWithParam<std::tuple<FramingCase, size_t>> {};

TEST_P(FramingTest, WritesExactBytes) {
  const auto& [framing, bufferSize] = GetParam();
  test::ScratchDir scratch;
  const std::string path = scratch.Path("out.iff");
  {
    LiteIFF iff(bufferSize);
    ASSERT_TRUE(iff.Attach(path.c_str()));
    framing.write(iff);
    EXPECT_TRUE(iff.ok()) << iff.error();
  }
  EXPECT_EQ(ToHex(test::ReadFileBytes(path)), ToHex(FromHex(framing.hex)));
}

// "empty FORM" with a 12-byte buffer: EmptyFORM_buffer12.
std::string FramingName(const ::testing::TestParamInfo<std::tuple<FramingCase, size_t>>& info) {
  std::string name;
  bool upper = true;
  for (const char* c = std::get<0>(info.param).what; *c; ++c) {
    if (*c == ' ') upper = true;
    else name += upper ? static_cast<char>(std::toupper(static_cast<unsigned char>(*c))) : *c, upper = false;
  }
  return name + "_buffer" + std::to_string(std::get<1>(info.param));
}

const uint32_t k256 = 256;

INSTANTIATE_TEST_SUITE_P(
    LiteIFF, FramingTest,
    ::testing::Combine(::testing::Values(
        // A plain chunk with nothing inside: the 8-byte head, length 0.
        FramingCase{"empty plain", [](LiteIFF& f) { f.OpenChunk(kVers); f.CloseChunk(); }, "56455253 00000000"},
        // FORM counts its type word: 12 bytes on file, length 4.
        FramingCase{"empty FORM", [](LiteIFF& f) { f.OpenForm(kChunkForm, kNis, 99); f.CloseChunk(); },
                    "464F524D 00000004 4E495320"},
        // NRML counts its type word and the big-endian extra word: 16 bytes, length 8.
        FramingCase{"empty NRML", [](LiteIFF& f) { f.OpenForm(kChunkNrml, kNis, 0x01020304); f.CloseChunk(); },
                    "4E524D4C 00000008 4E495320 01020304"},
        // Big-endian heads around a little-endian payload; the FORM's length covers the nested head.
        FramingCase{"FORM with VERS",
                    [](LiteIFF& f) {
                      f.OpenForm(kChunkForm, kNis, 0);
                      f.OpenChunk(kVers);
                      f.Write(&k256, 4, 1);
                      EXPECT_EQ(f.CloseChunk(), kVers);
                      EXPECT_EQ(f.CloseChunk(), kNis);  // a FORM gives its type, not FORM
                    },
                    "464F524D 00000010 4E495320 56455253 00000004 00010000"},
        // No alignment: the second head follows 5 payload bytes at an odd offset.
        FramingCase{"odd offset",
                    [](LiteIFF& f) {
                      f.OpenChunk(MakeChunkId("AAAA"));
                      f.Write("12345", 1, 5);
                      f.CloseChunk();
                      f.OpenChunk(MakeChunkId("BBBB"));
                      f.CloseChunk();
                    },
                    "41414141 00000005 3132333435 42424242 00000000"},
        // Counted texts: null and empty both give a zero length; no terminator after the letters.
        FramingCase{"counted texts",
                    [](LiteIFF& f) {
                      f.WriteString(static_cast<const char*>(nullptr));
                      f.WriteString("");
                      f.WriteString("abc");
                      f.WriteString(std::string("de"));
                    },
                    "00000000 00000000 03000000 616263 02000000 6465"},
        // A writer destroyed with chunks open leaves their length fields at 0.
        FramingCase{"destroyed while open",
                    [](LiteIFF& f) {
                      f.OpenForm(kChunkForm, kNis, 0);
                      f.OpenChunk(kVers);
                      f.Write(&k256, 4, 1);
                    },
                    "464F524D 00000000 4E495320 56455253 00000000 00010000"},
        // Closing with nothing open is harmless, and the writer goes on normally.
        FramingCase{"close with nothing open",
                    [](LiteIFF& f) {
                      EXPECT_EQ(f.CloseChunk(), 0u);
                      f.OpenChunk(kVers);
                      EXPECT_EQ(f.CloseChunk(), kVers);
                    },
                    "56455253 00000000"}),
                       ::testing::Values(size_t(1), size_t(8), size_t(12), kLiteIFFBufferSize)),
    FramingName);

// An unattached writer, or one whose file could not be opened, writes nothing and says so.
TEST(LiteIFF, UnattachedWriterWritesNothing) {
  test::ScratchDir scratch;
  LiteIFF iff;
  EXPECT_FALSE(iff.Attach(scratch.Path("missing/out.nis").c_str()));
  EXPECT_EQ(iff.error(), "cannot open the file (No such file or directory)");
  EXPECT_FALSE(iff.Write(&k256, 4, 1));
  EXPECT_FALSE(iff.WriteString("abc"));
  EXPECT_FALSE(iff.WriteString(std::string("abc")));
  iff.OpenChunk(kVers);  // no stream: counted, nothing written, no crash
  EXPECT_EQ(iff.CloseChunk(), kVers);
  EXPECT_FALSE(iff.Close());
}

// The first failure is kept with the system's text, later writes do nothing, and Close says
// so. /dev/full refuses every byte; /dev/null takes any number, so lengths past 32 bits cost
// no disk.
struct FailureCase {
  const char* what;
  const char* path;
  size_t bufferSize;
  std::function<void(LiteIFF&)> write;
  bool okBeforeClose;
  const char* error;  // empty: Close succeeds
};

void PrintTo(const FailureCase& c, std::ostream* os) { *os << c.what; }

class FailureTest : public ::testing::TestWithParam<FailureCase> {};

TEST_P(FailureTest, KeepsTheFirstFailure) {
  const FailureCase& c = GetParam();
  LiteIFF iff(c.bufferSize);
  ASSERT_TRUE(iff.Attach(c.path));
  c.write(iff);
  EXPECT_EQ(iff.ok(), c.okBeforeClose);
  EXPECT_EQ(iff.Close(), *c.error == 0);
  EXPECT_EQ(iff.error(), c.error);
  EXPECT_FALSE(iff.Close());  // closed: nothing left to close
  EXPECT_FALSE(iff.Write(&k256, 4, 1));
}

// Writes a chunk whose payload is bytes long, in blocks that go straight to the file.
void WriteLongChunk(LiteIFF& f, uint64_t bytes) {
  static const std::vector<char> block(size_t(64) << 20);
  f.OpenChunk(kVers);
  for (uint64_t left = bytes; left > 0;) {
    const size_t n = static_cast<size_t>(std::min<uint64_t>(left, block.size()));
    ASSERT_TRUE(f.Write(block.data(), 1, n));
    left -= n;
  }
  f.CloseChunk();
}

const char kNoSpace[] = "cannot write to the file (No space left on device)";

INSTANTIATE_TEST_SUITE_P(
    LiteIFF, FailureTest,
    ::testing::Values(
        FailureCase{"BufferedBytesFailAtClose", "/dev/full", kLiteIFFBufferSize,
                    [](LiteIFF& f) { EXPECT_TRUE(f.Write("12345", 1, 5)); }, true, kNoSpace},
        FailureCase{"FullBufferFailsWhenItGoesOut", "/dev/full", 4,
                    [](LiteIFF& f) {
                      EXPECT_TRUE(f.Write(&k256, 4, 1));  // exactly fills the buffer
                      EXPECT_FALSE(f.Write("1", 1, 1));
                    },
                    false, kNoSpace},
        FailureCase{"LaterWritesDoNothing", "/dev/full", 1,
                    [](LiteIFF& f) {
                      EXPECT_FALSE(f.Write(&k256, 4, 1));
                      EXPECT_FALSE(f.WriteString("abc"));
                      f.OpenForm(kChunkForm, kNis, 0);
                      EXPECT_EQ(f.CloseChunk(), kNis);  // no patch attempted: the write's error stays
                    },
                    false, kNoSpace},
        FailureCase{"ChunkOfMaxLengthFits", "/dev/null", kLiteIFFBufferSize,
                    [](LiteIFF& f) { WriteLongChunk(f, kMaxChunkLength); }, true, ""},
        FailureCase{"ChunkOneByteTooLong", "/dev/null", kLiteIFFBufferSize,
                    [](LiteIFF& f) {
                      WriteLongChunk(f, kMaxChunkLength + 1);
                      f.OpenChunk(kVers);  // the writer goes on refusing
                      f.CloseChunk();
                    },
                    false, "chunk VERS is 4294967296 bytes long, more than its 32-bit length field holds"}),
    [](const ::testing::TestParamInfo<FailureCase>& p) { return std::string(p.param.what); });

}  // namespace
}  // namespace rw
