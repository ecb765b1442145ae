#include "preview/PreviewPage.h"

#include <cstddef>
#include <cstdint>
#include <sstream>

#include "inspect/Dump.h"

namespace rw {

// Written by cmake/EmbedFiles.cmake; a file missing at build time has size 0.
extern const unsigned char kPreviewTemplate[], kPreviewScript[], kThreeJs[], kOrbitControlsJs[], kNurbsUtilsJs[],
    kNurbsCurveJs[];
extern const size_t kPreviewTemplateSize, kPreviewScriptSize, kThreeJsSize, kOrbitControlsJsSize, kNurbsUtilsJsSize,
    kNurbsCurveJsSize;

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

}  // namespace

bool PreviewLibraryPresent() {
  return kThreeJsSize > 0 && kOrbitControlsJsSize > 0 && kNurbsUtilsJsSize > 0 && kNurbsCurveJsSize > 0;
}

std::string PreviewSceneJson(const NisDocument& doc) {
  std::ostringstream json;
  DumpOptions options;
  options.keys = true;
  WriteDumpJson(doc, options, json);
  // "<" stands only inside JSON texts, where "\u003c" reads the same: no "</script" or "<!--"
  // can then end or confuse the <script> element that holds the document.
  std::string text = json.str(), out;
  for (char c : text) {
    if (c == '<') {
      out += "\\u003c";
    } else {
      out += c;
    }
  }
  return out;
}

std::string BuildPreviewPage(const NisDocument& doc, const std::string& title, const std::string* script) {
  const Slot slots[] = {
      {"TITLE", EscapeHtml(title)},
      {"SCENE_JSON", PreviewSceneJson(doc)},
      {"SCRIPT_PRESENT", script ? "yes" : "no"},
      {"SCRIPT_BASE64", script ? Base64(*script) : ""},
      {"THREE_JS", Asset(kThreeJs, kThreeJsSize)},
      {"ORBIT_CONTROLS_JS", Asset(kOrbitControlsJs, kOrbitControlsJsSize)},
      {"NURBS_UTILS_JS", Asset(kNurbsUtilsJs, kNurbsUtilsJsSize)},
      {"NURBS_CURVE_JS", Asset(kNurbsCurveJs, kNurbsCurveJsSize)},
      {"PREVIEW_JS", Asset(kPreviewScript, kPreviewScriptSize)},
  };
  return Fill(Asset(kPreviewTemplate, kPreviewTemplateSize), slots, sizeof slots / sizeof slots[0]);
}

}  // namespace rw
