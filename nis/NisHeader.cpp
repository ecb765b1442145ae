// The NAME, VERS and INFO chunks: the file's title, version, frame rate and time range.
#include <cstring>

#include "log/ExportLog.h"
#include "nis/NisChunks.h"
#include "nis/NisFormat.h"
#include "nis/NisWrite.h"

namespace rw {

void WriteNisHeader(LiteIFF& iff, const Scene& scene) {
  LogOpenStage("NIS Header");

  LogPrint("NAME chunk: '%s'\n", kNisTitle);
  iff.OpenChunk(kChunkName);
  iff.Write(kNisTitle, 1, std::strlen(kNisTitle));  // no terminator, no length prefix
  iff.CloseChunk();

  LogPrint("VERS chunk: '%d'\n", static_cast<int>(kNisVersion));
  iff.OpenChunk(kChunkVers);
  WriteU32(iff, kNisVersion);
  iff.CloseChunk();

  LogPrint("Animation FPS: %d\nStart Time: %d\nEnd Time: %d\n", scene.fps, scene.startTime, scene.endTime);
  iff.OpenChunk(kChunkInfo);
  for (int32_t value : {scene.fps, scene.startTime, scene.endTime}) iff.Write(&value, sizeof value, 1);
  iff.CloseChunk();

  LogEndStage();
}

}  // namespace rw
