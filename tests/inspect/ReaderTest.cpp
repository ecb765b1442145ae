// The reader on broken input: every prefix of a valid file and every 32-bit word overwritten
// with a huge number must give a clear fault (or refusal), never a crash, a read out of bounds
// or an allocation sized by the file. Run under the sanitizers to mean something.
#include <gtest/gtest.h>

#include <sstream>

#include "inspect/Check.h"
#include "inspect/Dump.h"
#include "tests/inspect/NisTestFiles.h"

namespace rw::test {
namespace {

// Reads `bytes` from a buffer of exactly its size, so that ASan sees any read past the end,
// and runs everything that looks at the result.
bool ReadAndShow(const std::string& bytes, NisDocument& doc, bool dump = true) {
  std::vector<uint8_t> exact(bytes.begin(), bytes.end());
  std::string error;
  bool ok = ReadNisDocument(exact.data(), exact.size(), doc, error);
  if (!ok) {
    EXPECT_FALSE(error.empty());
    return false;
  }
  std::ostringstream sink;
  if (dump) {
    WriteDumpText(doc, DumpOptions{true}, sink);
    WriteDumpJson(doc, DumpOptions{true}, sink);
  }
  for (const NisProblem& p : CheckNisDocument(doc)) sink << ProblemLine(p);
  return true;
}

// Bytes that the document's lists of numbers stand for in the file.
size_t ListedBytes(const NisDocument& doc) {
  size_t n = 0;
  for (const NisCurve& c : doc.curves) n += c.keys.size() * 32;
  for (const NisNurbCurve& c : doc.nurbCurves) n += c.controlPoints.size() * 32 + c.knots.size() * 8;
  for (const NisPath& p : doc.paths) n += p.spans.size() * 8;
  return n;
}

TEST(Reader, EveryPrefixOfAValidFileGivesAFaultOrARefusal) {
  for (const std::string& file : {TestScene::Default().Build(), OlderFileWithPath()}) {
    NisDocument full;
    ASSERT_TRUE(ReadAndShow(file, full));
    ASSERT_TRUE(full.faults.empty());
    size_t curvesBefore = 0;
    for (size_t n = 0; n < file.size(); ++n) {
      NisDocument doc;
      bool ok = ReadAndShow(file.substr(0, n), doc);
      ASSERT_EQ(ok, n >= 12) << n;
      if (!ok) continue;
      ASSERT_FALSE(doc.faults.empty()) << n;
      EXPECT_EQ(doc.faults[0].where, "FORM") << n;  // the FORM's length overruns the file first
      for (const NisFault& f : doc.faults) EXPECT_LE(f.offset, n) << n << " " << f.where << ": " << f.message;
      // A cut file shows every record that is whole before the cut.
      EXPECT_GE(doc.curves.size(), curvesBefore) << n;
      curvesBefore = doc.curves.size();
      EXPECT_LE(doc.curves.size(), full.curves.size());
      EXPECT_LE(doc.cameras.size(), full.cameras.size());
    }
    EXPECT_EQ(curvesBefore, full.curves.size());
  }
}

TEST(Reader, HugeNumbersAnywhereAreRefusedBeforeAllocating) {
  for (const std::string& file : {TestScene::Default().Build(), OlderFileWithPath()}) {
    for (uint32_t huge : {0xFFFFFFFFu, 0x10000000u}) {
      for (size_t at = 0; at + 4 <= file.size(); ++at) {
        std::string bad = file;
        for (int i = 0; i < 4; ++i) bad[at + i] = char(huge >> (8 * i));
        NisDocument doc;
        if (!ReadAndShow(bad, doc, false)) continue;
        EXPECT_LE(ListedBytes(doc), bad.size()) << at;
      }
    }
  }
}

TEST(Reader, DeeplyNestedFormsStopAtALimit) {
  std::string nested = Chunk("NAME", "x");
  for (int i = 0; i < 100; ++i) nested = "FORM" + std::string("\0\0\0\0", 4) + "DEEP" + nested;
  // Patch each FORM's length from the inside out: each spans the rest of the string.
  for (size_t at = 0; at + 12 <= nested.size() && nested.compare(at, 4, "FORM") == 0; at += 12) {
    uint32_t len = uint32_t(nested.size() - at - 8);
    for (int i = 0; i < 4; ++i) nested[at + 4 + i] = char(len >> (8 * (3 - i)));
  }
  NisDocument doc;
  ASSERT_TRUE(ReadAndShow(NisForm(nested), doc));
  bool limited = false;
  for (const NisFault& f : doc.faults) limited = limited || f.message.find("nested deeper than 32") != std::string::npos;
  EXPECT_TRUE(limited);
}

}  // namespace
}  // namespace rw::test
