// The browser preview of a NIS file: one self-contained HTML page that holds three.js, our
// viewer, the file's document and its script's statements, and plays the scene offline.
#ifndef REELWRIGHT_PREVIEW_PREVIEWPAGE_H
#define REELWRIGHT_PREVIEW_PREVIEWPAGE_H

#include <string>

#include "inspect/NisDocument.h"

namespace rw {

// True when three.js was found at build time and embedded; without it no page can be built.
bool PreviewLibraryPresent();

// The page for doc. `title` names the file in the page; `script` is the .script text, or null
// when there is none. Needs PreviewLibraryPresent().
std::string BuildPreviewPage(const NisDocument& doc, const std::string& title, const std::string* script);

// The document as the page holds it, made safe to stand inside a <script>: `dump --json`, with
// the keys only for a Crannnberry file (the ANIM keys travel in PreviewKeysBase64).
std::string PreviewSceneJson(const NisDocument& doc);

// Floats per ANIM key in the page: the value and the tangent (or handle) when in and out are
// one vector in every key of the curve, else the value, the in and the out.
constexpr size_t kPreviewKeyFloatsOneSided = 3, kPreviewKeyFloatsTwoSided = 5;
// Every ANIM key of the document as base64 of little-endian bytes: one byte per curve, its
// floats per key, padded to a multiple of 8; every key's time as a double, curve by curve in
// file order; then every key's floats. The value is a float here: the page draws, it does not
// measure.
std::string PreviewKeysBase64(const NisDocument& doc);

// The script's statements as the page holds them, made safe the same way:
// {"statements": [{"line", "unit": "seconds" | "frames" | null, "time", "seconds", "block",
// "text", "function", "arguments": [texts]}], "problems": [{"line", "what"}]}; "seconds" is the
// statement's time at `framesPerSecond` (the scene's). The page reads no script text.
std::string PreviewEventsJson(const std::string& scriptText, double framesPerSecond);

}  // namespace rw

#endif
