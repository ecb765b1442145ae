#include "model/GltfWriter.h"

#include <tiny_gltf.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "io/Utf8.h"

namespace rw {
namespace {

constexpr const char* kReplacementCharacter = "\xEF\xBF\xBD";  // U+FFFD in UTF-8

std::string Utf8(const std::string& text) { return ValidUtf8(text, kReplacementCharacter); }

tinygltf::Value ExtrasValue(const GltfExtras& extras) {
  if (extras.texts.empty() && extras.numbers.empty()) return {};
  tinygltf::Value::Object properties;
  for (const auto& [key, text] : extras.texts) properties[Utf8(key)] = tinygltf::Value(Utf8(text));
  for (const auto& [key, number] : extras.numbers) properties[Utf8(key)] = tinygltf::Value(number);
  return tinygltf::Value(std::move(properties));
}

// Appends 32-bit floats to the one buffer, as an accessor of `type` with one element per
// `width` numbers; min and max when asked (glTF wants them on animation times).
int AddFloats(tinygltf::Model& gltf, const std::vector<float>& values, int type, int width, bool bounds) {
  std::vector<unsigned char>& data = gltf.buffers[0].data;
  tinygltf::BufferView view;
  view.buffer = 0;
  view.byteOffset = data.size();
  view.byteLength = values.size() * sizeof(float);
  data.resize(data.size() + view.byteLength);
  if (!values.empty()) std::memcpy(data.data() + view.byteOffset, values.data(), view.byteLength);
  gltf.bufferViews.push_back(view);

  tinygltf::Accessor accessor;
  accessor.bufferView = static_cast<int>(gltf.bufferViews.size()) - 1;
  accessor.componentType = TINYGLTF_COMPONENT_TYPE_FLOAT;
  accessor.type = type;
  accessor.count = values.size() / static_cast<size_t>(width);
  if (bounds && !values.empty()) {
    accessor.minValues.assign(static_cast<size_t>(width), values[0]);
    accessor.maxValues.assign(static_cast<size_t>(width), values[0]);
    for (size_t i = 0; i < values.size(); ++i) {
      double& low = accessor.minValues[i % static_cast<size_t>(width)];
      double& high = accessor.maxValues[i % static_cast<size_t>(width)];
      low = std::min<double>(low, values[i]);
      high = std::max<double>(high, values[i]);
    }
  }
  gltf.accessors.push_back(accessor);
  return static_cast<int>(gltf.accessors.size()) - 1;
}

void AddChannel(tinygltf::Animation& animation, int node, const char* path, int input, int output) {
  tinygltf::AnimationSampler sampler;
  sampler.input = input;
  sampler.output = output;
  sampler.interpolation = "LINEAR";
  animation.samplers.push_back(sampler);
  tinygltf::AnimationChannel channel;
  channel.sampler = static_cast<int>(animation.samplers.size()) - 1;
  channel.target_node = node;
  channel.target_path = path;
  animation.channels.push_back(channel);
}

// The rotations as floats, each in the hemisphere of the one before it.
std::vector<float> ContinuousRotations(const std::vector<std::array<double, 4>>& rotations) {
  std::vector<float> values;
  values.reserve(rotations.size() * 4);
  std::array<double, 4> previous{0, 0, 0, 1};
  for (std::array<double, 4> q : rotations) {
    if (q[0] * previous[0] + q[1] * previous[1] + q[2] * previous[2] + q[3] * previous[3] < 0)
      for (double& part : q) part = -part;
    for (double part : q) values.push_back(static_cast<float>(part));
    previous = q;
  }
  return values;
}

}  // namespace

std::string WriteGlb(const GltfOutScene& scene) {
  tinygltf::Model gltf;
  gltf.asset.version = "2.0";
  gltf.asset.generator = "reelwright";
  gltf.asset.extras = ExtrasValue(scene.assetExtras);
  gltf.extras = ExtrasValue(scene.rootExtras);
  gltf.buffers.emplace_back();
  gltf.scenes.emplace_back().extras = ExtrasValue(scene.sceneExtras);
  gltf.defaultScene = 0;

  tinygltf::Animation animation;
  animation.name = Utf8(scene.animationName);
  std::vector<float> times(scene.times.begin(), scene.times.end());
  const int timeAccessor = times.empty() ? -1 : AddFloats(gltf, times, TINYGLTF_TYPE_SCALAR, 1, true);
  for (size_t i = 0; i < scene.nodes.size(); ++i) {
    const GltfOutNode& in = scene.nodes[i];
    const int index = static_cast<int>(i);
    tinygltf::Node node;
    node.name = Utf8(in.name);
    node.extras = ExtrasValue(in.extras);
    if (!in.translations.empty()) node.translation.assign(in.translations[0].begin(), in.translations[0].end());
    if (!in.rotations.empty()) node.rotation.assign(in.rotations[0].begin(), in.rotations[0].end());
    if (in.camera) {
      tinygltf::Camera camera;
      camera.type = "perspective";
      camera.name = node.name;
      camera.perspective.yfov = in.camera->yfov;
      camera.perspective.aspectRatio = in.camera->aspectRatio;
      camera.perspective.znear = in.camera->znear;
      camera.perspective.zfar = in.camera->zfar;
      gltf.cameras.push_back(camera);
      node.camera = static_cast<int>(gltf.cameras.size()) - 1;
    }
    gltf.nodes.push_back(node);
    if (in.parent < 0)
      gltf.scenes[0].nodes.push_back(index);
    else
      gltf.nodes[static_cast<size_t>(in.parent)].children.push_back(index);
    if (timeAccessor < 0) continue;
    if (in.translations.size() == times.size()) {
      std::vector<float> values;
      values.reserve(times.size() * 3);
      for (const auto& t : in.translations)
        for (double part : t) values.push_back(static_cast<float>(part));
      AddChannel(animation, index, "translation", timeAccessor, AddFloats(gltf, values, TINYGLTF_TYPE_VEC3, 3, false));
    }
    if (in.rotations.size() == times.size())
      AddChannel(animation, index, "rotation", timeAccessor,
                 AddFloats(gltf, ContinuousRotations(in.rotations), TINYGLTF_TYPE_VEC4, 4, false));
  }
  if (!animation.channels.empty()) gltf.animations.push_back(animation);
  gltf.buffers[0].data.resize((gltf.buffers[0].data.size() + 3) / 4 * 4);
  if (gltf.buffers[0].data.empty()) gltf.buffers.clear();  // glTF has no empty buffer

  tinygltf::TinyGLTF writer;
  std::ostringstream bytes;
  writer.WriteGltfSceneToStream(&gltf, bytes, false, true);
  return bytes.str();
}

}  // namespace rw
