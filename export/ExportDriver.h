// The export run: log window, chunk writer, scan, NIS file, script, timing.
#ifndef REELWRIGHT_EXPORT_EXPORTDRIVER_H
#define REELWRIGHT_EXPORT_EXPORTDRIVER_H

#include "host/msLib.h"

namespace rw {

// Exports model to the NIS file at path and its .script beside it, showing every step in a new
// log window. True when the file could be opened and the NIS file and the script were written.
bool ExportNis(const char* path, msModel* model);

// The clock the driver reads; tests replace it to get a fixed elapsed time. Null restores time().
using ClockFunction = long long (*)();
void SetExportClock(ClockFunction clock);

}  // namespace rw

#endif
