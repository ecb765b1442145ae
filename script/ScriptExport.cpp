#include "export/NisScene.h"

namespace rw {
bool NisScene::ExportScript(const char*) { return true; }
}  // namespace rw
