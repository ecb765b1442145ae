#include "nis/NisWrite.h"

#include "nis/NisFormat.h"

namespace rw {

void WriteMotionTail(LiteIFF& iff, const std::string (&curves)[6], const double (&values)[6]) {
  for (const std::string& curve : curves) iff.WriteString(curve);
  for (double value : values) WriteF64(iff, value);
  iff.Write(kZyxTag, 1, sizeof kZyxTag);
}

void WriteEmptyMotionTail(LiteIFF& iff) {
  static const std::string kEmptyCurves[6] = {kEmptyCurve, kEmptyCurve, kEmptyCurve,
                                              kEmptyCurve, kEmptyCurve, kEmptyCurve};
  static const double kZeros[6] = {0, 0, 0, 0, 0, 0};
  WriteMotionTail(iff, kEmptyCurves, kZeros);
}

}  // namespace rw
