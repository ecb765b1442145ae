#include "examples/Ms3dWriter.h"

#include <cstdio>
#include <cstring>

#include "model/Ms3dReader.h"

namespace rw {
namespace {

class ByteSink {
 public:
  void U8(uint8_t v) { bytes_ += static_cast<char>(v); }
  void U16(uint16_t v) {
    U8(static_cast<uint8_t>(v));
    U8(static_cast<uint8_t>(v >> 8));
  }
  void U32(uint32_t v) {
    for (int shift = 0; shift < 32; shift += 8) U8(static_cast<uint8_t>(v >> shift));
  }
  void I32(int32_t v) {
    uint32_t u;
    std::memcpy(&u, &v, sizeof u);
    U32(u);
  }
  void F32(float v) {
    uint32_t u;
    std::memcpy(&u, &v, sizeof u);
    U32(u);
  }
  void Vec(const Vec3& v) {
    F32(v.x);
    F32(v.y);
    F32(v.z);
  }
  void Zeros(size_t n) { bytes_.append(n, '\0'); }
  void Name(const std::string& name) {
    const size_t n = name.size() < kMs3dNameSize ? name.size() : kMs3dNameSize;
    bytes_.append(name, 0, n);
    Zeros(kMs3dNameSize - n);
  }
  void Text(const std::string& text) {
    I32(static_cast<int32_t>(text.size()));
    bytes_ += text;
  }
  void Keys(const std::vector<Ms3dKey>& keys) {
    for (const Ms3dKey& key : keys) {
      F32(key.seconds);
      Vec(key.value);
    }
  }
  std::string& bytes() { return bytes_; }

 private:
  std::string bytes_;
};

void WriteComments(ByteSink& out, const std::vector<Ms3dComment>& comments) {
  out.I32(static_cast<int32_t>(comments.size()));
  for (const Ms3dComment& comment : comments) {
    out.I32(comment.index);
    out.Text(comment.text);
  }
}

size_t VertexExtraSize(int32_t subVersion) { return subVersion == 1 ? 6 : subVersion == 2 ? 10 : 14; }

}  // namespace

std::string WriteMs3d(const Ms3dFile& file) {
  ByteSink out;
  out.bytes().append(kMs3dId, kMs3dIdSize);
  out.I32(file.version);
  out.U16(file.vertexCount);
  out.Zeros(size_t{file.vertexCount} * kMs3dVertexSize);
  out.U16(file.triangleCount);
  out.Zeros(size_t{file.triangleCount} * kMs3dTriangleSize);
  out.U16(static_cast<uint16_t>(file.groupNames.size()));
  for (const std::string& name : file.groupNames) {
    out.U8(0);
    out.Name(name);
    out.U16(1);
    out.U16(0);
    out.U8(0xFF);  // no material
  }
  out.U16(file.materialCount);
  out.Zeros(size_t{file.materialCount} * kMs3dMaterialSize);
  out.F32(file.fps);
  out.F32(file.currentTime);
  out.I32(file.totalFrames);

  out.U16(static_cast<uint16_t>(file.joints.size()));
  for (const Ms3dJoint& joint : file.joints) {
    out.U8(0);
    out.Name(joint.name);
    out.Name(joint.parentName);
    out.Vec(joint.rotation);  // rotation before position, as the format has it
    out.Vec(joint.position);
    out.U16(static_cast<uint16_t>(joint.rotationKeys.size()));
    out.U16(static_cast<uint16_t>(joint.positionKeys.size()));
    out.Keys(joint.rotationKeys);
    out.Keys(joint.positionKeys);
  }
  if (file.end == Ms3dEnd::kAfterJoints) return out.bytes();

  out.I32(kMs3dCommentSubVersion);
  WriteComments(out, file.groupComments);
  WriteComments(out, file.materialComments);
  WriteComments(out, file.jointComments);
  out.I32(file.hasModelComment ? 1 : 0);
  if (file.hasModelComment) out.Text(file.modelComment);
  if (file.end == Ms3dEnd::kAfterComments) return out.bytes();

  out.I32(file.vertexExtraSubVersion);
  out.Zeros(size_t{file.vertexCount} * VertexExtraSize(file.vertexExtraSubVersion));
  if (file.end == Ms3dEnd::kAfterVertexExtra) return out.bytes();

  out.I32(1);
  for (size_t i = 0; i < file.joints.size(); ++i) out.Vec({1, 1, 0});  // joint color
  if (file.end == Ms3dEnd::kAfterJointExtra) return out.bytes();

  out.I32(1);
  out.F32(1);  // joint size
  out.I32(0);  // transparency mode
  out.F32(0);  // alpha ref
  return out.bytes();
}

bool WriteMs3dFile(const Ms3dFile& file, const std::string& path) {
  const std::string bytes = WriteMs3d(file);
  std::FILE* out = std::fopen(path.c_str(), "wb");
  if (!out) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
  return std::fclose(out) == 0 && written;
}

float FrameToSeconds(int frame, float fps) { return static_cast<float>(frame / static_cast<double>(fps)); }

}  // namespace rw
