// Whole-file reads: the bytes as they are on disk, the cap pinned at its edge, and the errors
// the readers pass on to the user.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "io/FileBytes.h"
#include "tests/support/TestSupport.h"

namespace rw {
namespace {

struct ReadCase {
  const char* name;
  size_t fileSize;  // bytes of a pattern written first; npos: no file; npos - 1: a folder
  uint64_t cap;
  const char* error;  // empty: read whole
};

constexpr size_t kNoFile = std::string::npos, kFolder = std::string::npos - 1;

class FileBytesTest : public ::testing::TestWithParam<ReadCase> {};

TEST_P(FileBytesTest, ReadsWholeOrSaysWhy) {
  const ReadCase& c = GetParam();
  test::ScratchDir scratch;
  const std::string path = scratch.Path("in.bin");
  std::string pattern;
  for (size_t i = 0; c.fileSize < kFolder && i < c.fileSize; ++i) pattern += static_cast<char>(i * 7 + i / 251);
  if (c.fileSize < kFolder) test::WriteFileBytes(path, pattern);
  if (c.fileSize == kFolder) std::filesystem::create_directory(path);
  std::string bytes = "stale", error;
  EXPECT_EQ(ReadFileBytes(path, c.cap, bytes, error), *c.error == 0);
  EXPECT_EQ(error, c.error);
  if (*c.error == 0) {
    EXPECT_TRUE(bytes == pattern) << bytes.size() << " bytes read of " << pattern.size();
  } else {
    EXPECT_EQ(bytes.size(), 0u) << "read before it was refused";
  }
}

INSTANTIATE_TEST_SUITE_P(
    FileBytes, FileBytesTest,
    ::testing::Values(ReadCase{"Empty", 0, 10, ""}, ReadCase{"OneUnderTheCap", 9, 10, ""},
                      ReadCase{"AtTheCap", 10, 10, ""},
                      ReadCase{"OneOverTheCap", 11, 10, "is larger than 10 bytes, more than such a file can hold"},
                      ReadCase{"LargerThanOneRead", 300000, 300000, ""},
                      // Past the cap the file is refused by its size, before it is read.
                      ReadCase{"FarOverTheCap", 300000, 100000,
                               "is larger than 100000 bytes, more than such a file can hold"},
                      ReadCase{"Missing", kNoFile, 10, "cannot open the file (No such file or directory)"},
                      ReadCase{"Folder", kFolder, 10, "is a folder, not a file"}),
    [](const ::testing::TestParamInfo<ReadCase>& p) { return std::string(p.param.name); });

}  // namespace
}  // namespace rw
