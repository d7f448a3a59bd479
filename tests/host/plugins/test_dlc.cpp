// A plug-in library for the loader tests. It logs each export the host calls to the
// listener as "<name>: <export>", so a test can read the order of calls back.
#include <string>

#include "iplugin.h"
#include "maxapi.h"
#include "notify.h"

#ifndef KT_DLC_VERSION
#define KT_DLC_VERSION VERSION_3DSMAX
#endif

namespace {

void Log(const std::wstring& what) { host::Listener::Write(std::wstring(KT_DLC_NAME) + L": " + what + L"\n"); }

class TestClassDesc : public ClassDesc2 {
public:
    TestClassDesc(const MCHAR* name, Class_ID id) : name_(name), id_(id) {}
    int IsPublic() override { return 1; }
    void* Create(BOOL) override { return nullptr; }
    const MCHAR* ClassName() override { return name_; }
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return id_; }
    const MCHAR* Category() override { return L""; }

private:
    const MCHAR* name_;
    Class_ID id_;
};

// One class of its own and one whose identity every test library shares, so that the
// second library to load finds it taken.
TestClassDesc ownClass(KT_DLC_NAME, Class_ID(0x7E57D1C0, KT_DLC_CLASS_B));
TestClassDesc sharedClass(L"Shared", Class_ID(0x7E57D1C0, 0x1));

void OnNotify(void*, NotifyInfo* info) { Log(L"notify " + std::to_wstring(info->intcode)); }

}  // namespace

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT const MCHAR* LibDescription() { return KT_DLC_NAME; }
EXPORT int LibNumberClasses() {
    Log(L"LibNumberClasses");
    return 2;
}
EXPORT ClassDesc* LibClassDesc(int i) {
    Log(L"LibClassDesc " + std::to_wstring(i));
    return i == 0 ? &ownClass : i == 1 ? &sharedClass : nullptr;
}
EXPORT ULONG LibVersion() {
    Log(L"LibVersion");
    return KT_DLC_VERSION;
}
EXPORT ULONG CanAutoDefer() { return 0; }
EXPORT int LibInitialize() {
    Log(L"LibInitialize");
    RegisterNotification(OnNotify, nullptr, NOTIFY_SYSTEM_STARTUP);
    RegisterNotification(OnNotify, nullptr, NOTIFY_SYSTEM_SHUTDOWN);
#ifdef KT_DLC_INIT_FAILS
    UnRegisterNotification(OnNotify, nullptr);
    return 0;
#else
    return 1;
#endif
}
#ifndef KT_DLC_NO_SHUTDOWN
EXPORT int LibShutdown() {
    Log(L"LibShutdown");
    UnRegisterNotification(OnNotify, nullptr);
    return 1;
}
#endif
