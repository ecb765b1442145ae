// Number and text formatting shared by dump and check, and a small JSON writer.
#ifndef REELWRIGHT_INSPECT_TEXTFORMAT_H
#define REELWRIGHT_INSPECT_TEXTFORMAT_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "io/Diagnostic.h"

namespace rw {

// Shortest text that reads back to the same double ("0.1", "3", "1e+300"); "nan", "inf", "-inf"
// for the values that have no number form.
std::string FormatDouble(double number);
// The same for a float: shortest text that reads back to the same float.
std::string FormatFloat(float number);
// The same, with ".0" added to a whole number ("257.0", "-1.0", "12.5"): for files whose every
// number is a float, so that none reads as an integer.
std::string FormatReal(float number);
// A JSON string literal: control bytes and bytes that are not part of well-formed UTF-8 as
// \u00XX, so any byte sequence gives valid JSON and each byte stays visible.
std::string JsonString(const std::string& bytes);
// "46 4F 52 4D" for up to `limit` bytes.
std::string HexBytes(const uint8_t* data, size_t size, size_t limit);

// Writes one JSON document with two-space indentation. Containers opened `inline` keep their
// items on one line (for short number vectors). The caller balances Begin and End calls.
class JsonWriter {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}
  void BeginObject(bool inlined = false) { Open('{', inlined); }
  void EndObject() { Close('}'); }
  void BeginArray(bool inlined = false) { Open('[', inlined); }
  void EndArray() { Close(']'); }
  void Key(const char* key);
  void String(const std::string& bytes) { Value(JsonString(bytes)); }
  void Number(double number);  // non-finite values as the strings "NaN", "Infinity", "-Infinity"
  void Float(float number);
  void Real(float number);  // as FormatReal
  void Integer(int64_t number) { Value(std::to_string(number)); }
  void Bool(bool value) { Value(value ? "true" : "false"); }
  void Null() { Value("null"); }
  void Finish() { out_ << '\n'; }

 private:
  struct Level {
    bool inlined;
    bool empty;
  };
  void Open(char bracket, bool inlined);
  void Close(char bracket);
  void Value(const std::string& text);
  void BeforeItem();
  void NewLine();

  std::ostream& out_;
  std::vector<Level> levels_;
  bool afterKey_ = false;
};

}  // namespace rw

#endif
