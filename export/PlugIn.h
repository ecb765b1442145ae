// The object handed to the host, and the export command it runs.
#ifndef REELWRIGHT_EXPORT_PLUGIN_H
#define REELWRIGHT_EXPORT_PLUGIN_H

#include "host/msLib.h"

namespace rw {

constexpr int kPlugInTypeExport = 2;
constexpr const char* kPlugInTitle = "Reelwright";
constexpr const char* kBanner = "Reelwright v0.9.0.0b";
constexpr const char* kSuccessText = "Successfully Exported NIS!";
constexpr const char* kFailureText = "Error while exporting NIS...\nWritten file may not be usable...";

class PlugInInterface {
 public:
  virtual ~PlugInInterface() = default;
  virtual int GetPlugInType() = 0;
  virtual const char* GetPlugInTitle() = 0;
  virtual int RunExportCommand(msModel* model) = 0;
};

// How the last export command ended.
enum class ExportOutcome { kNotRun, kCancelled, kExported, kFailed };

class ExportPlugIn final : public PlugInInterface {
 public:
  ExportPlugIn();
  int GetPlugInType() override;           // always 2: an export plug-in
  const char* GetPlugInTitle() override;  // "Reelwright"; the object owns the text, same pointer every call
  // -1 for a null model; otherwise 0 whatever the outcome (the box and the log tell it).
  // Destroys the model after every confirmed dialog; leaves it alone when cancelled.
  int RunExportCommand(msModel* model) override;

  ExportOutcome lastOutcome() const { return lastOutcome_; }

 private:
  char title_[64];
  ExportOutcome lastOutcome_ = ExportOutcome::kNotRun;
};

// A new plug-in object, or null when it cannot be allocated. The caller owns it.
PlugInInterface* CreatePlugIn();

}  // namespace rw

#endif
