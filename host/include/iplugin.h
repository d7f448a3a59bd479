// Class descriptors, the class directory, and the plug-in library contract.
#pragma once

#include <vector>
#include "ref.h"

class ParamBlockDesc2;
class IParamBlock2;
class FPInterface;
class IObjParam;
namespace MaxSDK { class QMaxParamBlockWidget; }

// One global object per class: its identity, its names, and its factory.
class ClassDesc {
public:
    virtual ~ClassDesc() = default;
    virtual int IsPublic() = 0;
    // A new object; `loading` tells the constructor to skip building default sub-objects.
    virtual void* Create(BOOL loading = FALSE) = 0;
    // Display name (may be a shared static buffer: copy it to keep it).
    virtual const MCHAR* ClassName() = 0;
    // The constant name scripts see.
    virtual const MCHAR* NonLocalizedClassName() { return ClassName(); }
    virtual SClass_ID SuperClassID() = 0;
    virtual Class_ID ClassID() = 0;
    virtual const MCHAR* Category() = 0;
    virtual int BeginCreate(IObjParam* ip) { (void)ip; return 0; }
    virtual int EndCreate(IObjParam* ip) { (void)ip; return 0; }
    virtual BOOL OkToCreate(IObjParam* ip) { (void)ip; return TRUE; }
    virtual const MCHAR* InternalName() { return NonLocalizedClassName(); }
    virtual HINSTANCE HInstance() { return nullptr; }

    // Function-published interfaces registered with the class.
    int NumInterfaces() const { return static_cast<int>(interfaces_.size()); }
    FPInterface* GetInterfaceAt(int i) const { return interfaces_[static_cast<size_t>(i)]; }
    FPInterface* GetInterface(Interface_ID id) const;
    FPInterface* GetInterface(const MCHAR* name) const;
    void AddInterface(FPInterface* fpi) { interfaces_.push_back(fpi); }

private:
    std::vector<FPInterface*> interfaces_;
};

// A descriptor with parameter block descriptions and Qt rollups.
class ClassDesc2 : public ClassDesc {
public:
    // Builds every auto-constructed block of the class for `owner`.
    void MakeAutoParamBlocks(ReferenceMaker* owner);
    int NumParamBlockDescs() const { return static_cast<int>(pbDescs_.size()); }
    ParamBlockDesc2* GetParamBlockDesc(int i) const { return pbDescs_[static_cast<size_t>(i)]; }
    ParamBlockDesc2* GetParamBlockDescByID(BlockID id) const;
    ParamBlockDesc2* GetParamBlockDescByName(const MCHAR* name) const;
    void AddParamBlockDesc(ParamBlockDesc2* pbd) { pbDescs_.push_back(pbd); }
    void ClearParamBlockDescs() { pbDescs_.clear(); }
    // A string of the class's string table (parameter and block display names); null when
    // the class has none for id.
    virtual const MCHAR* GetRsrcString(INT_PTR id) { (void)id; return nullptr; }

    // The Qt rollup of one parameter map; null for classes without one.
    virtual MaxSDK::QMaxParamBlockWidget* CreateQtWidget(ReferenceMaker& owner, IParamBlock2& paramBlock,
                                                         MapID paramMapID, MSTR& rollupTitle, int& rollupFlags,
                                                         int& rollupCategory) {
        (void)owner; (void)paramBlock; (void)paramMapID; (void)rollupTitle; (void)rollupFlags; (void)rollupCategory;
        return nullptr;
    }

private:
    std::vector<ParamBlockDesc2*> pbDescs_;
};

// The exports every plug-in library offers, with the host's plain names.
extern "C" {
typedef const MCHAR* (*LibDescriptionFn)();
typedef int (*LibNumberClassesFn)();
typedef ClassDesc* (*LibClassDescFn)(int i);
typedef ULONG (*LibVersionFn)();
typedef int (*LibInitializeFn)();
typedef int (*LibShutdownFn)();
typedef ULONG (*CanAutoDeferFn)();
}

namespace host {

// Every class the host can make: its own and those of loaded libraries.
class ClassDirectory {
public:
    static ClassDirectory& Get();
    // Adds a class; a second class with the same super class and id replaces nothing and is refused.
    bool AddClass(ClassDesc* cd, const MCHAR* library = L"");
    void RemoveLibraryClasses(const MCHAR* library);
    ClassDesc* FindClass(SClass_ID sclass, Class_ID cid) const;
    // By script name, case-insensitive; the first match in registration order.
    ClassDesc* FindClassByScriptName(const MCHAR* name) const;
    int Count() const { return static_cast<int>(classes_.size()); }
    ClassDesc* GetClassAt(int i) const { return classes_[static_cast<size_t>(i)].cd; }
    const MCHAR* LibraryOf(int i) const { return classes_[static_cast<size_t>(i)].library.data(); }

private:
    struct Entry {
        ClassDesc* cd;
        MSTR library;
    };
    std::vector<Entry> classes_;
};

// A loaded plug-in library.
struct PluginLibrary {
    MSTR path;
    MSTR description;
    void* handle = nullptr;
    LibShutdownFn shutdown = nullptr;
    std::vector<ClassDesc*> classes;
};

// Finds .dlc files in a folder, loads each in name order and calls its exports:
// LibVersion, LibNumberClasses, LibClassDesc for each index, LibInitialize.
// A library without an export or with the wrong version is skipped with a listener line.
// Answers the number of libraries loaded.
int LoadPlugins(const char* folder);
// Loads one library file; null on failure (with a listener line naming it).
PluginLibrary* LoadPlugin(const char* path);
// LibShutdown of every library, newest first, then unloads them.
void UnloadPlugins();
const std::vector<PluginLibrary*>& LoadedPlugins();

}  // namespace host

// Makes an instance of any class known to the host; null when unknown.
void* CreateInstance(SClass_ID superID, Class_ID classID);
