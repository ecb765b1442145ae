#include "examples/FleetScene.h"

namespace rw {
namespace {

constexpr float kFps = 24;

// One key pair per frame: the position and rotation at that frame.
struct Pose {
  int frame;
  Vec3 position, rotation;
};

Ms3dJoint Joint(const char* name, const char* parent, Vec3 position, std::initializer_list<Pose> poses) {
  Ms3dJoint joint;
  joint.name = name;
  joint.parentName = parent;
  joint.position = position;
  for (const Pose& pose : poses) {
    // Key values are offsets from the rest pose, as the modeller stores them.
    joint.positionKeys.push_back({FrameToSeconds(pose.frame, kFps), pose.position});
    joint.rotationKeys.push_back({FrameToSeconds(pose.frame, kFps), pose.rotation});
  }
  return joint;
}

// The modeller's comment box keeps Windows line ends.
const char kModelComment[] =
    "OPT_FPS=24\r\n"
    "Num Events=3\r\n"
    "Event0=0|cameraCut|\"CAM_Main\"\r\n"
    "Event1=0|fade|1, 2\r\n"
    "Event2=48|attack|\"Ship1\"";

const char kShipComment[] =
    "Sob Type=Frigate\r\n"
    "Sob Name=Ship1\r\n"
    "Num Events=3\r\n"
    "Event0=24|fire|\"front\"\r\n"
    "Event1=24|fire|\"rear\"\r\n"
    "Event2=12|stop|";

const char kCameraComment[] =
    "Center Of Interest=Ship1\r\n"
    "Num Events=1\r\n"
    "Event0=48|shake|0.5";

}  // namespace

Ms3dFile FleetScene() {
  Ms3dFile file;
  file.fps = kFps;
  file.totalFrames = 72;
  file.joints.push_back(Joint("Fleet", "", {0, 0, 0},
                              {{1, {0, 0, 0}, {0, 0, 0}},
                               {24, {0, 0, 40}, {0, 0, 0}},
                               {48, {0, 0, 80}, {0, 0.25f, 0}},
                               {72, {0, 0, 120}, {0, 0.5f, 0}}}));
  file.joints.push_back(Joint("Ship1", "Fleet", {10, 0, 0},
                              {{1, {0, 0, 0}, {0, 0, 0}},
                               {24, {0, 2, 5}, {0.1f, 0, 0}},
                               {48, {0, 4, 10}, {0.2f, 0, 0}},
                               {72, {0, 2, 15}, {0, 0, 0}}}));
  file.joints.push_back(Joint("CAM_Main", "", {0, 20, -60},
                              {{1, {0, 0, 0}, {0, 0, 0}},
                               {24, {5, 0, 10}, {0, 0.1f, 0}},
                               {48, {10, -5, 30}, {0, 0.2f, 0}},
                               {72, {15, -5, 60}, {0, 0.3f, 0}}}));
  file.joints.push_back(Joint("IG_Guide", "", {0, 0, 100}, {{1, {0, 0, 0}, {0, 0, 0}}}));
  file.end = Ms3dEnd::kAfterComments;
  file.jointComments = {{1, kShipComment}, {2, kCameraComment}};
  file.hasModelComment = true;
  file.modelComment = kModelComment;
  return file;
}

}  // namespace rw
