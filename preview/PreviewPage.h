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

// The same JSON the page holds: `dump --json --keys`, made safe to stand inside a <script>.
std::string PreviewSceneJson(const NisDocument& doc);

// The script's statements as the page holds them, made safe the same way:
// {"statements": [{"line", "unit": "seconds" | "frames" | null, "time", "block", "text",
// "function", "arguments": [texts]}], "problems": [{"line", "what"}]}. The page reads no script text.
std::string PreviewEventsJson(const std::string& scriptText);

}  // namespace rw

#endif
