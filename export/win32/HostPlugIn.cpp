// The object that the modeller gets from CreatePlugIn, laid out as Microsoft's C++ compiler
// lays out a class with four virtual functions, so that a host built with that compiler can
// call it although this DLL is built with GCC.
//
// What the host does with the object: it reads the first word as the pointer to the virtual
// table and calls the table's slots by position:
//   slot 0  scalar deleting destructor  void* (this, unsigned flags); flags bit 0: free too
//   slot 1  GetPlugInType               int (this)
//   slot 2  GetPlugInTitle              const char* (this)
//   slot 3  RunExportCommand            int (this, msModel* model)
// GCC's own virtual table would not do: the Itanium ABI gives a virtual destructor two slots
// (complete and deleting), which would move the other three by one. So the table here is a
// plain struct of function pointers, filled once, and the object is a plain struct whose first
// member points at it. On 32-bit x86 the host calls every slot with __thiscall (this in ECX,
// the callee pops the stack arguments); on x86-64 there is one calling convention and `this`
// is simply the first argument.
//
// The work itself is done by rw::ExportPlugIn, held by value inside the object.
#include <new>

#include "export/PlugIn.h"

#if defined(__i386__)
#define RW_HOST_METHOD __attribute__((thiscall))
#else
#define RW_HOST_METHOD
#endif

namespace rw {
namespace {

constexpr unsigned kDeleteFreesMemory = 0x1;

struct HostPlugIn;

struct HostPlugInTable {
  void*(RW_HOST_METHOD* destroy)(HostPlugIn* self, unsigned flags);
  int(RW_HOST_METHOD* getPlugInType)(HostPlugIn* self);
  const char*(RW_HOST_METHOD* getPlugInTitle)(HostPlugIn* self);
  int(RW_HOST_METHOD* runExportCommand)(HostPlugIn* self, msModel* model);
};

// No base class and no virtual functions of its own, so `table` is the first word.
struct HostPlugIn {
  const HostPlugInTable* table;
  ExportPlugIn plugIn;
};

// Like the destructor Microsoft's compiler writes: end the object, free it only when asked
// (the host may own the storage otherwise), and hand back the pointer.
RW_HOST_METHOD void* DestroyHostPlugIn(HostPlugIn* self, unsigned flags) {
  if (flags & kDeleteFreesMemory) {
    delete self;
  } else {
    self->~HostPlugIn();
  }
  return self;
}

RW_HOST_METHOD int GetHostPlugInType(HostPlugIn* self) { return self->plugIn.GetPlugInType(); }

RW_HOST_METHOD const char* GetHostPlugInTitle(HostPlugIn* self) { return self->plugIn.GetPlugInTitle(); }

RW_HOST_METHOD int RunHostExportCommand(HostPlugIn* self, msModel* model) {
  return self->plugIn.RunExportCommand(model);
}

const HostPlugInTable kHostPlugInTable = {
    DestroyHostPlugIn,
    GetHostPlugInType,
    GetHostPlugInTitle,
    RunHostExportCommand,
};

}  // namespace
}  // namespace rw

// The DLL's one export, by its plain name. No arguments, so the calling convention of the
// call itself does not matter. Null when the object cannot be allocated; the host owns it.
extern "C" __declspec(dllexport) void* CreatePlugIn() {
  auto* object = new (std::nothrow) rw::HostPlugIn{&rw::kHostPlugInTable, rw::ExportPlugIn()};
  return object;
}
