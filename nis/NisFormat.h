// Constants of the NIS format as this exporter writes it.
#ifndef REELWRIGHT_NIS_NISFORMAT_H
#define REELWRIGHT_NIS_NISFORMAT_H

#include <cstdint>

#include "liteiff/LiteIFF.h"

namespace rw {

constexpr uint32_t kChunkNis = MakeChunkId("NIS ");
constexpr uint32_t kChunkName = MakeChunkId("NAME");
constexpr uint32_t kChunkVers = MakeChunkId("VERS");
constexpr uint32_t kChunkInfo = MakeChunkId("INFO");
constexpr uint32_t kChunkAnim = MakeChunkId("ANIM");
constexpr uint32_t kChunkLead = MakeChunkId("LEAD");
constexpr uint32_t kChunkFolw = MakeChunkId("FOLW");
constexpr uint32_t kChunkCmra = MakeChunkId("CMRA");

constexpr const char* kNisTitle = "Homeworld2 NIS File";
constexpr uint32_t kNisVersion = 256;

constexpr const char* kEmptyCurve = "ANIM_Empty";
constexpr const char* kEmptyLeader = "LEAD_Empty";
constexpr const char* kEmptyFollower = "FOLW_Empty";

// Sob-group types of followers: a camera's, and the one for a bone whose comment gives none.
constexpr const char* kCameraSobType = "camera";
constexpr const char* kNoSobType = "None";

// Bone comment options read by the chunk writers.
constexpr const char* kOptionSobType = "Sob Type";
constexpr const char* kOptionSobName = "Sob Name";
constexpr const char* kOptionCenterOfInterest = "Center Of Interest";

// Rotation order tag of every LEAD and FOLW record: " ZYX" in file order.
constexpr uint8_t kZyxTag[4] = {0x20, 0x5A, 0x59, 0x58};

// The seven curves of an entity, in file order: translation X, Y, Z, rotation X, Y, Z, visibility.
constexpr int kCurvesPerEntity = 7;
constexpr const char* kCurveSuffixes[kCurvesPerEntity] = {"_translateX", "_translateY", "_translateZ", "_rotateX",
                                                          "_rotateY",    "_rotateZ",    "_visibility"};

// A camera's curves turn half a turn about Y: the float nearest to pi, bits 0x40490FDB.
constexpr float kCameraHalfTurn = 3.14159274f;
// The angle of a vertical tangent, when two keys share a time.
constexpr double kQuarterTurn = 1.5707963267948966;

// The five numbers of every camera record: focal length and film aperture (mm), near and far clip.
constexpr double kCameraParams[5] = {21.8, 31.92, 24.0, 1.0, 10000000.0};

}  // namespace rw

#endif
