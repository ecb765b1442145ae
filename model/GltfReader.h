// Reads glTF 2.0 scenes (.gltf with its buffers, or .glb) into the in-memory host model, so that
// a scene made in Blender or any other glTF tool exports exactly as a MilkShape model does.
//
// Every node of the scene is a bone (parents before children), named by the node's name; its
// rest translation and rotation give the bind pose, and the chosen animation's translation and
// rotation channels give key pairs, stored as offsets from the bind pose at the host's frames.
// Rotations become Euler angles in radians applied X, then Y, then Z about the parent's axes
// (the matrix Rz * Ry * Rx on column vectors), the angles the exporter's curves carry.
// Extras become comments: "comment" as written, every other string or number as "Key=Value".
// What the modeller could not hold is refused, never cut: a name past 31 bytes, a comment past
// 1023, a Key=Value line broken in two (it would set an option of its own).
#ifndef REELWRIGHT_MODEL_GLTFREADER_H
#define REELWRIGHT_MODEL_GLTFREADER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "io/Diagnostic.h"
#include "model/Ms3dReader.h"

namespace rw {

// Files above this are refused before they are parsed.
constexpr uint64_t kGltfMaxFileSize = uint64_t(1) << 30;
// Arrays and objects nested deeper than this are refused before they are parsed.
constexpr size_t kGltfMaxJsonDepth = 64;
// A rest rotation or matrix whose axes are this far from unit length and square is not rigid.
constexpr double kGltfRigidTolerance = 1e-4;
// Frames per second when the caller does not say how the model comment sets them.
constexpr int32_t kGltfDefaultFps = 24;

struct GltfReadOptions {
  std::string animation;  // the animation to read by name; empty: the first one
  // The frame rate the export will use, from the model comment the reader composed; key times
  // in seconds become frames at this rate. Unset: kGltfDefaultFps.
  std::function<int32_t(const std::string& modelComment)> framesPerSecond;
  // The turn about Y, in radians, that the export adds to the rotation of a bone of this name (a
  // camera's half turn). The reader takes it off the bind pose, so that once the export adds it the
  // bone turns as its node does: a camera looks where the glTF camera looks. Unset: no turn.
  std::function<double(const std::string& boneName)> exportTurnY;
  // Whether the export writes a bone of this name (unset: every bone), and the largest NIS file it
  // can write (0: no limit). A scene whose keys and names alone need more is refused before a key
  // is copied.
  std::function<bool(const std::string& boneName)> exported;
  uint64_t maxNisSize = 0;
};

struct GltfReadResult {
  ModelPtr model;                       // null when an error was found; the caller owns it otherwise
  std::vector<Diagnostic> diagnostics;  // warnings in reading order; an error is always last

  bool ok() const { return model != nullptr; }
  const Diagnostic* error() const;  // the error, or null
};

// Reads a .gltf text or a .glb (told apart by the "glTF" magic) held in memory. Buffers must be
// inside the file (data URIs or the .glb's own chunk): nothing outside it is opened.
GltfReadResult ReadGltf(const std::string& bytes, const GltfReadOptions& options = {});
// Reads the file at path; external buffers are looked up beside it and read only when they are
// regular files of exactly their byteLength, all of them with the file within kGltfMaxFileSize.
GltfReadResult ReadGltfFile(const std::string& path, const GltfReadOptions& options = {});

// The Euler angles (X, Y, Z, radians, applied in that order) of the unit quaternion (x, y, z, w),
// the solution nearest to `near` angle by angle (each may differ from it by whole turns).
void QuaternionToEuler(const double q[4], const double near[3], double euler[3]);

}  // namespace rw

#endif
