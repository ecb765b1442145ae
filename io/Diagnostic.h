// One way to report a problem, used by every reader and checker and by the export run: what kind
// of problem (a code from one fixed list), how bad, which file and where in it (a byte offset,
// and a place in its structure when it has one), which bone, and what.
#ifndef REELWRIGHT_IO_DIAGNOSTIC_H
#define REELWRIGHT_IO_DIAGNOSTIC_H

#include <cstdint>
#include <string>
#include <utility>

namespace rw {

enum class Severity { kError, kWarning };

// Every kind of problem a run can report. Programs that drive the command read these by name
// (DiagnosticCodeName) in the run's report, so a name, once given, never changes meaning; new
// kinds are added at the end.
enum class DiagnosticCode {
  kFileFault,            // a reader or checker found a file broken or suspicious
  kModelFile,            // the model file is broken, or read with a change the user should know of
  kFrameRateDiffers,     // the model file's animation fps is not the one the export uses
  kOutputRefused,        // an output path breaks the output rules: nothing is written
  kNoFrameRate,          // the model comment gives no OPT_FPS: 24 is used
  kZeroFrameRate,        // OPT_FPS reads as 0: 24 is used
  kNoFrames,             // no bone has a key
  kBoneWithoutKeys,      // a top bone without keys is left out
  kParentKeysUneven,     // a keyless child takes keys from a parent with fewer rotation than position keys
  kNonFiniteKeys,        // a key's time or value is not a finite number
  kParentLoop,           // a bone's parents lead back to a bone on its own chain
  kRotationKeysMissing,  // a bone has fewer rotation keys than position keys
  kNoFirstKey,           // a bone has no key 0 to start its leader from
  kNoSobType,            // a bone's comment gives no Sob Type
  kNisOpenFailed,        // the NIS file cannot be opened for writing
  kNisTooLarge,          // the NIS file would pass the format's 32-bit lengths
  kNisWriteFailed,       // writing the NIS file failed
  kTooManyEvents,        // Num Events asks for more events than are read
  kMalformedEvent,       // an event text is not time|function|arguments
  kMissingEvent,         // an event key below Num Events is missing or empty
  kScriptOpenFailed,     // the script cannot be opened for writing
  kScriptWriteFailed,    // writing the script failed
  kNisCheck,             // the check of the written NIS file found a problem
  kScriptCheck,          // the check of the written script found a problem
};

// The code's short kebab-case name ("no-frames"), as the run's report gives it.
const char* DiagnosticCodeName(DiagnosticCode code);

struct Diagnostic {
  Severity severity = Severity::kError;
  int64_t offset = -1;  // the byte where the problem lies; -1 when it concerns the whole file
  std::string where;    // a place in the file's structure ("ANIM #3 keys"), or empty
  std::string what;     // what is wrong, without the file name
  DiagnosticCode code = DiagnosticCode::kFileFault;
  std::string bone;  // the bone it concerns ("Root|Hull"), or empty

  Diagnostic() = default;
  Diagnostic(Severity severity_, int64_t offset_, std::string where_, std::string what_,
             DiagnosticCode code_ = DiagnosticCode::kFileFault, std::string bone_ = std::string())
      : severity(severity_),
        offset(offset_),
        where(std::move(where_)),
        what(std::move(what_)),
        code(code_),
        bone(std::move(bone_)) {}

  bool isError() const { return severity == Severity::kError; }
};

// "FILE: error at byte N: WHERE: WHAT"; "warning" for warnings; the parts without a value
// (no file name, offset -1, no place) are left out with their separators.
std::string FormatDiagnostic(const std::string& fileName, const Diagnostic& diagnostic);

// bytes in double quotes for a message: printable ASCII as it is, '"' and '\' escaped with '\',
// every other byte as \xNN, so a name with any bytes in it prints as one readable line.
std::string QuoteText(const std::string& bytes);

}  // namespace rw

#endif
