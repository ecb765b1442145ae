// Small glTF scenes made in the tests: nodes, one animation's channels, and the numbers behind
// them in one buffer, written as .gltf text (buffer as a data URI) or as a .glb.
#ifndef REELWRIGHT_TESTS_GLTF_GLTFBUILDER_H
#define REELWRIGHT_TESTS_GLTF_GLTFBUILDER_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace rw::test {

class GltfBuilder {
 public:
  using json = nlohmann::json;

  GltfBuilder() { doc = {{"asset", {{"version", "2.0"}}}, {"scene", 0}, {"scenes", {{{"nodes", json::array()}}}}}; }

  // Appends a node (its JSON, e.g. {{"name", "Ship"}}) under parent, or at the top of the scene.
  int Node(json node, int parent = -1) {
    const int index = static_cast<int>(doc["nodes"].size());
    doc["nodes"].push_back(std::move(node));
    if (parent < 0)
      doc["scenes"][0]["nodes"].push_back(index);
    else
      doc["nodes"][static_cast<size_t>(parent)]["children"].push_back(index);
    return index;
  }

  // An accessor of 32-bit floats ("SCALAR", "VEC3", "VEC4") over new bytes of the buffer.
  int Floats(const std::vector<float>& values, const char* type) {
    const size_t width = std::strcmp(type, "SCALAR") == 0 ? 1 : std::strcmp(type, "VEC3") == 0 ? 3 : 4;
    const size_t offset = bin.size();
    bin.resize(offset + values.size() * 4);
    std::memcpy(&bin[offset], values.data(), values.size() * 4);
    doc["bufferViews"].push_back({{"buffer", 0}, {"byteOffset", offset}, {"byteLength", values.size() * 4}});
    doc["accessors"].push_back({{"bufferView", doc["bufferViews"].size() - 1},
                                {"componentType", 5126},
                                {"count", values.size() / width},
                                {"type", type}});
    return static_cast<int>(doc["accessors"].size()) - 1;
  }

  // A channel of the last animation (a first one, "Take", is made when there is none).
  void Channel(int node, const char* path, const std::vector<float>& times, const std::vector<float>& values,
               const char* interpolation = "LINEAR") {
    if (!doc.contains("animations")) Animation("Take");
    json& animation = doc["animations"].back();
    const int input = Floats(times, "SCALAR");
    const int output = Floats(values, std::strcmp(path, "rotation") == 0 ? "VEC4" : "VEC3");
    animation["samplers"].push_back({{"input", input}, {"output", output}, {"interpolation", interpolation}});
    animation["channels"].push_back(
        {{"sampler", animation["samplers"].size() - 1}, {"target", {{"node", node}, {"path", path}}}});
  }
  void Animation(const std::string& name) {
    doc["animations"].push_back({{"name", name}, {"samplers", json::array()}, {"channels", json::array()}});
  }

  // The .gltf text; the buffer is a base64 data URI.
  std::string Gltf() const {
    json copy = doc;
    if (!bin.empty())
      copy["buffers"] = {{{"byteLength", bin.size()}, {"uri", "data:application/octet-stream;base64," + Base64(bin)}}};
    return copy.dump();
  }

  // The .glb: header, JSON chunk (padded with blanks), BIN chunk (padded with zeros).
  std::string Glb() const {
    json copy = doc;
    if (!bin.empty()) copy["buffers"] = {{{"byteLength", bin.size()}}};
    std::string text = copy.dump();
    text.append((4 - text.size() % 4) % 4, ' ');
    std::string data = bin;
    data.append((4 - data.size() % 4) % 4, '\0');
    std::string out = "glTF";
    const auto u32 = [&out](size_t v) {
      for (int i = 0; i < 4; ++i) out += static_cast<char>((v >> (8 * i)) & 0xFF);
    };
    u32(2);
    u32(12 + 8 + text.size() + (data.empty() ? 0 : 8 + data.size()));
    u32(text.size());
    out += "JSON" + text;
    if (!data.empty()) {
      u32(data.size());
      out += std::string("BIN\0", 4) + data;
    }
    return out;
  }

  json doc;
  std::string bin;

 private:
  static std::string Base64(const std::string& bytes) {
    static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < bytes.size(); i += 3) {
      uint32_t group = static_cast<uint8_t>(bytes[i]) << 16;
      if (i + 1 < bytes.size()) group |= static_cast<uint8_t>(bytes[i + 1]) << 8;
      if (i + 2 < bytes.size()) group |= static_cast<uint8_t>(bytes[i + 2]);
      for (size_t k = 0; k < 4; ++k) out += i + k <= bytes.size() ? kAlphabet[(group >> (18 - 6 * k)) & 63] : '=';
    }
    return out;
  }
};

}  // namespace rw::test

#endif
