// The glTF loader's own code, compiled here once with our flags (so the sanitizers and the fuzzer
// see inside it) and without its image decoders: a scene's motion needs no pixels.
#define TINYGLTF_IMPLEMENTATION
#include <tiny_gltf.h>
