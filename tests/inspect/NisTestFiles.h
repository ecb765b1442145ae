// Builds NIS files byte by byte for the inspect tests, without the exporter's writers.
#ifndef REELWRIGHT_TESTS_INSPECT_NISTESTFILES_H
#define REELWRIGHT_TESTS_INSPECT_NISTESTFILES_H

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "inspect/NisDocument.h"

namespace rw::test {

// Little-endian payload bytes, appended in call order.
struct Bytes {
  std::string s;
  Bytes& U8(uint8_t v) { s += char(v); return *this; }
  Bytes& U32(uint32_t v) {
    for (int i = 0; i < 4; ++i) s += char(v >> (8 * i));
    return *this;
  }
  Bytes& F32(float v) { uint32_t u; std::memcpy(&u, &v, 4); return U32(u); }
  Bytes& F64(double v) {
    uint64_t u;
    std::memcpy(&u, &v, 8);
    for (int i = 0; i < 8; ++i) s += char(u >> (8 * i));
    return *this;
  }
  Bytes& Text(const std::string& t) { U32(uint32_t(t.size())); s += t; return *this; }
  Bytes& Raw(const std::string& t) { s += t; return *this; }
};

// A plain chunk: id, big-endian length, payload.
std::string Chunk(const char* id, const std::string& payload);
// FORM "NIS " around the given chunks.
std::string NisForm(const std::string& chunks);

using CurveSlots = std::array<std::string, 6>;
CurveSlots Slots(const std::string& prefix);  // prefix + "_translateX" ... "_rotateZ"
CurveSlots EmptySlots();                        // "ANIM_Empty" six times

struct TestLeader {
  std::string name, path;
  CurveSlots curves;
};
struct TestFollower {
  std::string name, leader, objectClass, blueprint;
  CurveSlots curves;
};
struct TestCamera {
  std::string name, follower, centerOfInterest, focalCurve;
};

// A scene as our exporter would write it for the bones Root|Ship and Root|CAM_Main, the camera
// looking at the ship; tests change names and build the file.
struct TestScene {
  std::vector<std::string> curves;  // each with two keys
  std::vector<TestLeader> leaders;
  std::vector<TestFollower> followers;
  std::vector<TestCamera> cameras;
  std::string extraChunks;  // appended behind CMRA inside the FORM

  static TestScene Default();
  static TestScene Placeholders();  // the file of a model without accepted bones
  std::string Build() const;
};

// check's lines for a document and a script (named "x.script").
std::vector<std::string> CheckLines(const NisDocument& doc, const std::string& script);

// The game's own layout: NURB and PATH between ANIM and LEAD, and an older file's LEAD and FOLW
// records without the rotation order and with the follower class as a number.
std::string OlderFileWithPath();

}  // namespace rw::test

#endif
