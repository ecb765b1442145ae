// The browser preview of a NIS file: one self-contained HTML page that holds three.js, our
// viewer script, the file's document and its script, and plays the scene offline.
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

}  // namespace rw

#endif
