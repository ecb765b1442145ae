#include "preview/PreviewPage.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sstream>

#include "inspect/Dump.h"
#include "inspect/SceneReading.h"
#include "inspect/ScriptEvents.h"
#include "inspect/TextFormat.h"
#include "scriptlang/ScriptReader.h"

namespace rw {

// Written by cmake/EmbedFiles.cmake; a file missing at build time has size 0.
extern const unsigned char kPreviewTemplate[], kCurvesJs[], kTransformsJs[], kSceneModelJs[], kViewerJs[], kThreeJs[],
    kOrbitControlsJs[];
extern const size_t kPreviewTemplateSize, kCurvesJsSize, kTransformsJsSize, kSceneModelJsSize, kViewerJsSize,
    kThreeJsSize, kOrbitControlsJsSize;

namespace {

std::string Asset(const unsigned char* bytes, size_t size) {
  return std::string(reinterpret_cast<const char*>(bytes), size);
}

std::string EscapeHtml(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string Base64(const std::string& bytes) {
  static const char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t n = bytes.size() - i < 3 ? bytes.size() - i : 3;
    uint32_t v = uint32_t(uint8_t(bytes[i])) << 16;
    if (n > 1) v |= uint32_t(uint8_t(bytes[i + 1])) << 8;
    if (n > 2) v |= uint8_t(bytes[i + 2]);
    out += kDigits[(v >> 18) & 63];
    out += kDigits[(v >> 12) & 63];
    out += n > 1 ? kDigits[(v >> 6) & 63] : '=';
    out += n > 2 ? kDigits[v & 63] : '=';
  }
  return out;
}

template <class Number, class Bits>
void AppendLittleEndian(std::string& out, Number number) {
  Bits bits;
  static_assert(sizeof bits == sizeof number, "a number and its bits have one size");
  std::memcpy(&bits, &number, sizeof bits);
  for (size_t i = 0; i < sizeof bits; ++i) out += static_cast<char>((bits >> (8 * i)) & 0xFF);
}

struct Slot {
  const char* token;
  std::string text;
};

// Replaces each @@TOKEN@@ of the template once, in one pass, so inserted text is never scanned.
std::string Fill(const std::string& page, const Slot* slots, size_t count) {
  std::string out;
  size_t at = 0;
  for (;;) {
    const size_t open = page.find("@@", at);
    const size_t close = open == std::string::npos ? open : page.find("@@", open + 2);
    if (close == std::string::npos) break;
    const std::string token = page.substr(open + 2, close - open - 2);
    const Slot* slot = nullptr;
    for (size_t i = 0; i < count; ++i) {
      if (token == slots[i].token) slot = &slots[i];
    }
    out.append(page, at, open - at);
    if (slot) {
      out += slot->text;
      at = close + 2;
    } else {
      out += "@@";
      at = open + 2;
    }
  }
  out.append(page, at, std::string::npos);
  return out;
}

// "<" stands only inside JSON texts, where "\u003c" reads the same: no "</script" or "<!--"
// can then end or confuse the <script> element that holds the document.
std::string SafeInScriptElement(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '<') {
      out += "\\u003c";
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace

bool PreviewLibraryPresent() { return kThreeJsSize > 0 && kOrbitControlsJsSize > 0; }

std::string PreviewSceneJson(const NisDocument& doc) {
  std::ostringstream json;
  DumpOptions options;
  // The ANIM keys travel as binary (PreviewKeysBase64); a Crannnberry file's few keys as JSON.
  options.keys = doc.layout == NisLayout::kCrannnberry;
  WriteDumpJson(doc, options, json);
  return SafeInScriptElement(json.str());
}

// The floats a curve's keys need: the value and one tangent when every key's in and out are
// one vector (as in most files), else the value and both.
size_t KeyFloats(const NisCurve& curve) {
  for (const NisKey& key : curve.keys) {
    if (key.in != key.out) return kPreviewKeyFloatsTwoSided;
  }
  return kPreviewKeyFloatsOneSided;
}

std::string PreviewKeysBase64(const NisDocument& doc) {
  std::string bytes;
  for (const NisCurve& curve : doc.curves) bytes += static_cast<char>(KeyFloats(curve));
  bytes.resize((bytes.size() + sizeof(double) - 1) / sizeof(double) * sizeof(double), '\0');
  for (const NisCurve& curve : doc.curves) {
    for (const NisKey& key : curve.keys) AppendLittleEndian<double, uint64_t>(bytes, key.time);
  }
  for (const NisCurve& curve : doc.curves) {
    const size_t count = KeyFloats(curve);
    for (const NisKey& key : curve.keys) {
      const float floats[kPreviewKeyFloatsTwoSided] = {static_cast<float>(key.value), key.in[0], key.in[1], key.out[0],
                                                       key.out[1]};
      for (size_t i = 0; i < count; ++i) AppendLittleEndian<float, uint32_t>(bytes, floats[i]);
    }
  }
  return Base64(bytes);
}

std::string PreviewEventsJson(const std::string& scriptText, double framesPerSecond) {
  std::ostringstream out;
  JsonWriter json(out);
  json.BeginObject();
  WriteScriptStatements(ReadScriptText(scriptText), framesPerSecond, json);
  json.EndObject();
  return SafeInScriptElement(out.str());
}

std::string BuildPreviewPage(const NisDocument& doc, const std::string& title, const std::string* script) {
  const Slot slots[] = {
      {"TITLE", EscapeHtml(title)},
      {"SCENE_JSON", PreviewSceneJson(doc)},
      {"KEYS_BASE64", PreviewKeysBase64(doc)},
      {"EVENTS_JSON", script ? PreviewEventsJson(*script, ReadScene(doc).fps) : "null"},
      {"THREE_JS", Asset(kThreeJs, kThreeJsSize)},
      {"ORBIT_CONTROLS_JS", Asset(kOrbitControlsJs, kOrbitControlsJsSize)},
      {"CURVES_JS", Asset(kCurvesJs, kCurvesJsSize)},
      {"TRANSFORMS_JS", Asset(kTransformsJs, kTransformsJsSize)},
      {"SCENE_MODEL_JS", Asset(kSceneModelJs, kSceneModelJsSize)},
      {"VIEWER_JS", Asset(kViewerJs, kViewerJsSize)},
  };
  return Fill(Asset(kPreviewTemplate, kPreviewTemplateSize), slots, sizeof slots / sizeof slots[0]);
}

}  // namespace rw
