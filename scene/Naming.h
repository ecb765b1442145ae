// The naming rules: a bone's name alone says what it is, and every record of the file is named
// after the bone's path ("Root|Fleet|Ship1") with a prefix that says which chunk holds it.
#ifndef REELWRIGHT_SCENE_NAMING_H
#define REELWRIGHT_SCENE_NAMING_H

#include <string>

namespace rw {

// Bone name prefixes (case counts).
constexpr const char* kCameraPrefix = "CAM_";  // a camera
constexpr const char* kIgnoredPrefix = "IG_";  // a guide the exporter leaves out

// Record name prefixes: curves in ANIM, leaders in LEAD, followers in FOLW.
constexpr const char* kCurvePrefix = "ANIM_";
constexpr const char* kLeaderPrefix = "LEAD_";
constexpr const char* kFollowerPrefix = "FOLW_";

// The separator of a bone path, and the name the path starts with.
constexpr char kPathSeparator = '|';
constexpr const char* kPathRoot = "Root";

// True when text begins with prefix.
bool HasPrefix(const std::string& text, const char* prefix);
// True when the bone's own name, the last "|"-separated segment of path, begins with "CAM_".
bool IsCameraPath(const std::string& path);

}  // namespace rw

#endif
