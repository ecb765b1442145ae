#include <gtest/gtest.h>

#include <cstdint>
#include <functional>

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

class FramingTest : public ::testing::TestWithParam<FramingCase> {};

TEST_P(FramingTest, WritesExactBytes) {
  test::ScratchDir scratch;
  const std::string path = scratch.Path("out.iff");
  {
    LiteIFF iff;
    ASSERT_TRUE(iff.Attach(path.c_str()));
    GetParam().write(iff);
  }
  EXPECT_EQ(ToHex(test::ReadFileBytes(path)), ToHex(FromHex(GetParam().hex))) << GetParam().what;
}

const uint32_t k256 = 256;

INSTANTIATE_TEST_SUITE_P(
    LiteIFF, FramingTest,
    ::testing::Values(
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
                    "56455253 00000000"}));

// An unattached writer, or one whose file could not be opened, writes nothing and says so.
TEST(LiteIFF, UnattachedWriterWritesNothing) {
  test::ScratchDir scratch;
  LiteIFF iff;
  EXPECT_FALSE(iff.Attach(scratch.Path("missing/out.nis").c_str()));
  EXPECT_FALSE(iff.Write(&k256, 4, 1));
  EXPECT_FALSE(iff.WriteString("abc"));
  EXPECT_FALSE(iff.WriteString(std::string("abc")));
  iff.OpenChunk(kVers);  // no stream: counted, nothing written, no crash
  EXPECT_EQ(iff.CloseChunk(), kVers);
}

}  // namespace
}  // namespace rw
