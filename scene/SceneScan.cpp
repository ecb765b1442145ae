#include "export/NisScene.h"

namespace rw {
bool NisScene::ScanScene() { return true; }
}  // namespace rw
