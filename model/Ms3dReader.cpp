#include "model/Ms3dReader.h"

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "io/ByteSource.h"
#include "io/Diagnostic.h"
#include "model/MemoryModel.h"

namespace rw {
namespace {

// Record sizes of the vertex extra section, by its sub-version (1 to 3).
constexpr size_t kVertexExtraSizes[] = {6, 10, 14};
constexpr int32_t kJointExtraSubVersion = 1;
constexpr int32_t kModelExtraSubVersion = 1;

std::string Num(uint64_t value) { return std::to_string(value); }

// Walks the bytes of one file. Every read is preceded by Need(), which loads the bytes it
// names, or by a count check, so the readers below never look past the end and a file is read
// no further than its counts need. The first failure ends the read.
class Ms3dParser {
 public:
  Ms3dParser(ByteSource& source, Ms3dReadResult& result) : source_(source), size_(source.size()), result_(result) {}

  bool Parse();
  msModel* model() const { return model_; }

 private:
  uint64_t Left() const { return size_ - pos_; }

  bool Fail(uint64_t offset, const std::string& message) {
    result_.diagnostics.push_back({Severity::kError, static_cast<int64_t>(offset), "", message});
    return false;
  }
  void Warn(uint64_t offset, const std::string& message) {
    result_.diagnostics.push_back({Severity::kWarning, static_cast<int64_t>(offset), "", message});
  }
  // True when n more bytes are there, now loaded; otherwise a truncation or read error at the
  // current byte.
  bool Need(uint64_t n, const std::string& what) {
    if (n > Left())
      return Fail(pos_, "file ends inside " + what + " (" + Num(n) + " bytes needed, " + Num(Left()) + " left)");
    window_ = source_.Bytes(pos_, static_cast<size_t>(n));
    windowStart_ = pos_;
    if (!window_) return Fail(pos_, source_.error());
    return true;
  }
  // The loaded byte at offset: inside the span of the last Need().
  uint8_t At(uint64_t offset) const { return window_[offset - windowStart_]; }
  const char* Here() const { return reinterpret_cast<const char*>(window_ + (pos_ - windowStart_)); }
  // Checks a count read at countOffset against the bytes left, before anything is allocated.
  bool CheckCount(uint64_t countOffset, uint64_t count, size_t minEach, const std::string& plural) {
    if (count * minEach <= Left()) return true;
    return Fail(countOffset, Num(count) + " " + plural + " need at least " + Num(count * minEach) + " bytes, only " +
                                 Num(Left()) + " left");
  }

  // Reads a 16-bit record count named `plural` and checks it against the bytes left.
  bool ReadCount(const std::string& countName, size_t minEach, const std::string& plural, uint16_t& count) {
    if (!Need(2, countName)) return false;
    const uint64_t countOffset = pos_;
    count = U16();
    return CheckCount(countOffset, count, minEach, plural);
  }

  uint8_t U8() { return At(pos_++); }
  uint16_t U16() {
    const uint16_t v = static_cast<uint16_t>(At(pos_) | At(pos_ + 1) << 8);
    pos_ += 2;
    return v;
  }
  uint32_t U32() {
    const uint32_t v = static_cast<uint32_t>(At(pos_)) | static_cast<uint32_t>(At(pos_ + 1)) << 8 |
                       static_cast<uint32_t>(At(pos_ + 2)) << 16 | static_cast<uint32_t>(At(pos_ + 3)) << 24;
    pos_ += 4;
    return v;
  }
  int32_t I32() {
    const uint32_t u = U32();
    int32_t v;
    std::memcpy(&v, &u, sizeof v);
    return v;
  }
  float F32() {
    const uint32_t u = U32();
    float v;
    std::memcpy(&v, &u, sizeof v);
    return v;
  }
  Vec3 ReadVec3() {
    Vec3 v;
    v.x = F32();
    v.y = F32();
    v.z = F32();
    return v;
  }
  // A zero-filled 32-byte name; one that fills all 32 bytes has no terminator.
  std::string Name() {
    const char* begin = Here();
    const void* zero = std::memchr(begin, 0, kMs3dNameSize);
    const size_t length = zero ? static_cast<size_t>(static_cast<const char*>(zero) - begin) : kMs3dNameSize;
    pos_ += kMs3dNameSize;
    return std::string(begin, length);
  }
  void Skip(uint64_t n) { pos_ += n; }

  bool ReadHeader();
  bool SkipFixedRecords(const char* countName, const char* plural, size_t each, uint16_t* countOut);
  bool SkipGroups();
  bool ReadAnimation();
  bool ReadJoints();
  bool ReadJoint(uint16_t index);
  bool ReadOptionalSections();
  bool ReadComments(const char* kind, bool forJoints);
  bool ReadModelComment();
  bool ReadText(const std::string& what, std::string& text);
  // Reads a section's sub-version; false (with a warning) when it is not a known one.
  bool KnownSubVersion(const char* section, int32_t subVersion, uint64_t offset, bool known);

  ByteSource& source_;
  const uint64_t size_;
  uint64_t pos_ = 0;
  const uint8_t* window_ = nullptr;  // the bytes of the last Need(), from windowStart_ on
  uint64_t windowStart_ = 0;
  Ms3dReadResult& result_;
  msModel* model_ = nullptr;  // owned by the caller's result once Parse returns
  uint16_t vertexCount_ = 0;
  float fps_ = kMs3dFallbackFps;
};

bool Ms3dParser::ReadHeader() {
  if (!Need(kMs3dHeaderSize, "the header")) return false;
  const std::string id(Here(), kMs3dIdSize);
  if (id != std::string(kMs3dId, kMs3dIdSize))
    return Fail(0, "not an .ms3d file: the id is " + QuoteText(id) + ", not \"MS3D000000\"");
  pos_ = kMs3dIdSize;
  const int32_t version = I32();
  if (version != 3 && version != 4)
    return Fail(kMs3dIdSize, "unsupported version " + std::to_string(version) + " (versions 3 and 4 are read)");
  return true;
}

bool Ms3dParser::SkipFixedRecords(const char* countName, const char* plural, size_t each, uint16_t* countOut) {
  uint16_t count = 0;
  if (!ReadCount(std::string("the ") + countName, each, plural, count)) return false;
  Skip(uint64_t{count} * each);
  if (countOut) *countOut = count;
  return true;
}

bool Ms3dParser::SkipGroups() {
  uint16_t count = 0;
  if (!ReadCount("the group count", kMs3dGroupMinSize, "groups", count)) return false;
  for (uint16_t i = 0; i < count; ++i) {
    const std::string what = "group " + Num(i);
    if (!Need(1 + kMs3dNameSize + 2, what)) return false;
    Skip(1 + kMs3dNameSize);
    const uint16_t triangles = U16();
    if (!Need(uint64_t{triangles} * 2 + 1, what)) return false;
    Skip(uint64_t{triangles} * 2 + 1);
  }
  return true;
}

bool Ms3dParser::ReadAnimation() {
  if (!Need(kMs3dAnimationSize, "the animation fields")) return false;
  const uint64_t fpsOffset = pos_;
  const float fps = F32();
  result_.fileFps = fps;
  Skip(8);  // current time, total frames: the keys carry the animation
  if (std::isfinite(fps) && fps > 0) {
    fps_ = fps;
  } else {
    char text[64];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(fps));
    Warn(fpsOffset,
         std::string("animation fps ") + text + " is not a finite number above 0; key times are read with 24");
  }
  return true;
}

bool Ms3dParser::ReadJoint(uint16_t index) {
  if (!Need(kMs3dJointFixedSize, "joint " + Num(index))) return false;
  Skip(1);  // flags
  const std::string name = Name();
  const std::string parentName = Name();
  const Vec3 rotation = ReadVec3();  // the file keeps rotation before position, here and below
  const Vec3 position = ReadVec3();
  const uint16_t rotationKeys = U16();
  const uint16_t positionKeys = U16();
  if (!Need((uint64_t{rotationKeys} + positionKeys) * kMs3dKeySize,
            "the keys of joint " + Num(index) + " " + QuoteText(name)))
    return false;
  msBone* bone = AddBone(model_, name, parentName, position, rotation);
  for (int pass = 0; pass < 2; ++pass) {
    const uint16_t count = pass == 0 ? rotationKeys : positionKeys;
    for (uint16_t k = 0; k < count; ++k) {
      const float time = SecondsToFrames(F32(), fps_);
      msVec3 value;
      value[0] = F32();
      value[1] = F32();
      value[2] = F32();
      if (pass == 0)
        msBone_AddRotationKey(bone, time, value);
      else
        msBone_AddPositionKey(bone, time, value);
    }
  }
  return true;
}

bool Ms3dParser::ReadJoints() {
  uint16_t count = 0;
  if (!ReadCount("the joint count", kMs3dJointFixedSize, "joints", count)) return false;
  for (uint16_t i = 0; i < count; ++i)
    if (!ReadJoint(i)) return false;
  return true;
}

bool Ms3dParser::ReadText(const std::string& what, std::string& text) {
  const uint64_t lengthOffset = pos_;
  const int32_t length = I32();
  if (length < 0) return Fail(lengthOffset, what + " has a negative length (" + std::to_string(length) + ")");
  if (static_cast<uint64_t>(length) > Left())
    return Fail(lengthOffset,
                what + " is " + Num(static_cast<uint64_t>(length)) + " bytes long, only " + Num(Left()) + " left");
  if (!Need(static_cast<uint64_t>(length), what)) return false;
  text.assign(Here(), static_cast<size_t>(length));
  Skip(static_cast<uint64_t>(length));
  return true;
}

bool Ms3dParser::ReadComments(const char* kind, bool forJoints) {
  const std::string prefix = std::string(kind) + " comment";
  if (!Need(4, "the " + prefix + " count")) return false;
  const uint64_t countOffset = pos_;
  const int32_t count = I32();
  if (count < 0) return Fail(countOffset, "negative " + prefix + " count (" + std::to_string(count) + ")");
  if (!CheckCount(countOffset, static_cast<uint64_t>(count), kMs3dCommentMinSize, prefix + "s")) return false;
  const int jointCount = msModel_GetBoneCount(model_);
  std::string text;
  for (int32_t i = 0; i < count; ++i) {
    const std::string what = prefix + " " + std::to_string(i);
    if (!Need(kMs3dCommentMinSize, what)) return false;
    const uint64_t indexOffset = pos_;
    const int32_t index = I32();
    if (!ReadText(what, text)) return false;
    if (!forJoints) continue;  // group and material comments are not part of the host model
    if (index < 0 || index >= jointCount) {
      Warn(indexOffset, what + " is for joint " + std::to_string(index) + ", but the file has " +
                            std::to_string(jointCount) + " joints; it is ignored");
      continue;
    }
    SetBoneComment(msModel_GetBoneAt(model_, index), text);
  }
  return true;
}

bool Ms3dParser::ReadModelComment() {
  if (!Need(4, "the model comment flag")) return false;
  const uint64_t flagOffset = pos_;
  const int32_t hasComment = I32();
  if (hasComment == 0) return true;
  if (hasComment != 1)
    return Fail(flagOffset, "model comment flag " + std::to_string(hasComment) + " is neither 0 nor 1");
  if (!Need(4, "the model comment length")) return false;
  std::string text;
  if (!ReadText("the model comment", text)) return false;
  SetModelComment(model_, text);
  return true;
}

bool Ms3dParser::KnownSubVersion(const char* section, int32_t subVersion, uint64_t offset, bool known) {
  if (known) return true;
  Warn(offset, std::string("unknown ") + section + " sub-version " + std::to_string(subVersion) +
                   "; the rest of the file is ignored");
  return false;
}

// Each section is optional, but one that starts must be complete. The extra sections carry
// nothing the model keeps: they are read only to check the file's framing.
bool Ms3dParser::ReadOptionalSections() {
  if (Left() == 0) return true;
  if (!Need(4, "the comment sub-version")) return false;
  const uint64_t commentOffset = pos_;
  const int32_t commentSubVersion = I32();
  if (commentSubVersion != kMs3dCommentSubVersion)
    return Fail(commentOffset, "unsupported comment sub-version " + std::to_string(commentSubVersion) + " (1 is read)");
  if (!ReadComments("group", false) || !ReadComments("material", false) || !ReadComments("joint", true) ||
      !ReadModelComment())
    return false;

  if (Left() == 0) return true;
  if (!Need(4, "the vertex extra sub-version")) return false;
  uint64_t offset = pos_;
  int32_t subVersion = I32();
  if (!KnownSubVersion("vertex extra", subVersion, offset, subVersion >= 1 && subVersion <= 3)) return true;
  if (!Need(uint64_t{vertexCount_} * kVertexExtraSizes[subVersion - 1], "the vertex extra records")) return false;
  Skip(uint64_t{vertexCount_} * kVertexExtraSizes[subVersion - 1]);

  const auto jointCount = static_cast<uint64_t>(msModel_GetBoneCount(model_));
  if (Left() == 0) return true;
  if (!Need(4, "the joint extra sub-version")) return false;
  offset = pos_;
  subVersion = I32();
  if (!KnownSubVersion("joint extra", subVersion, offset, subVersion == kJointExtraSubVersion)) return true;
  if (!Need(jointCount * kMs3dJointExtraSize, "the joint extra records")) return false;
  Skip(jointCount * kMs3dJointExtraSize);

  if (Left() == 0) return true;
  if (!Need(4, "the model extra sub-version")) return false;
  offset = pos_;
  subVersion = I32();
  if (!KnownSubVersion("model extra", subVersion, offset, subVersion == kModelExtraSubVersion)) return true;
  if (!Need(kMs3dModelExtraSize, "the model extra fields")) return false;
  Skip(kMs3dModelExtraSize);

  if (Left() > 0) Warn(pos_, Num(Left()) + " bytes after the last section are ignored");
  return true;
}

bool Ms3dParser::Parse() {
  if (!ReadHeader()) return false;
  if (!SkipFixedRecords("vertex count", "vertices", kMs3dVertexSize, &vertexCount_)) return false;
  if (!SkipFixedRecords("triangle count", "triangles", kMs3dTriangleSize, nullptr)) return false;
  if (!SkipGroups()) return false;
  if (!SkipFixedRecords("material count", "materials", kMs3dMaterialSize, nullptr)) return false;
  if (!ReadAnimation()) return false;
  model_ = CreateModel();
  return ReadJoints() && ReadOptionalSections();
}

Ms3dReadResult FileError(const std::string& message) {
  Ms3dReadResult result;
  result.diagnostics.push_back({Severity::kError, -1, "", message});
  return result;
}

}  // namespace

void ModelDeleter::operator()(msModel* model) const { msModel_Destroy(model); }

const Diagnostic* Ms3dReadResult::error() const {
  if (diagnostics.empty() || !diagnostics.back().isError()) return nullptr;
  return &diagnostics.back();
}

float SecondsToFrames(float seconds, float fps) {
  double frames = static_cast<double>(seconds) * static_cast<double>(fps);
  const double whole = std::round(frames);
  if (std::fabs(frames - whole) <= 0.001) frames = whole;
  // A double beyond the float range has no float value; infinity says "too far" plainly.
  if (frames > FLT_MAX) return HUGE_VALF;
  if (frames < -FLT_MAX) return -HUGE_VALF;
  return static_cast<float>(frames);
}

namespace {

Ms3dReadResult ParseMs3d(ByteSource& source) {
  Ms3dReadResult result;
  Ms3dParser parser(source, result);
  const bool ok = parser.Parse();
  ModelPtr model(parser.model());
  if (ok) result.model = std::move(model);
  return result;
}

}  // namespace

Ms3dReadResult ReadMs3d(const void* data, size_t size) {
  ByteSource source(data, size);
  return ParseMs3d(source);
}

Ms3dReadResult ReadMs3d(const std::string& bytes) { return ReadMs3d(bytes.data(), bytes.size()); }

Ms3dReadResult ReadMs3dFile(const std::string& path) {
  ByteSource source(nullptr, 0);
  std::string error;
  if (!source.OpenFile(path, error)) return FileError(error);
  return ParseMs3d(source);
}

}  // namespace rw
