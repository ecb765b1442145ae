#include "export/NisScene.h"

namespace rw {
bool NisScene::WriteNisHeader() { return true; }
bool NisScene::WriteAnimationCurves() { return true; }
bool NisScene::WriteLeaders() { return true; }
bool NisScene::WriteFollowers() { return true; }
bool NisScene::WriteCameras() { return true; }
}  // namespace rw
