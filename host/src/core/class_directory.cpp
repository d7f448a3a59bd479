#include "iplugin.h"

host::ClassDirectory& host::ClassDirectory::Get() {
    static ClassDirectory dir;
    return dir;
}

bool host::ClassDirectory::AddClass(ClassDesc* cd, const MCHAR* library) {
    if (!cd) return false;
    if (FindClass(cd->SuperClassID(), cd->ClassID())) return false;
    classes_.push_back({cd, MSTR(library ? library : L"")});
    return true;
}

void host::ClassDirectory::RemoveLibraryClasses(const MCHAR* library) {
    MSTR lib(library ? library : L"");
    std::erase_if(classes_, [&](const Entry& e) { return e.library == lib; });
}

ClassDesc* host::ClassDirectory::FindClass(SClass_ID sclass, Class_ID cid) const {
    for (const Entry& e : classes_)
        if (e.cd->SuperClassID() == sclass && e.cd->ClassID() == cid) return e.cd;
    return nullptr;
}

ClassDesc* host::ClassDirectory::FindClassByScriptName(const MCHAR* name) const {
    if (!name) return nullptr;
    for (const Entry& e : classes_) {
        const MCHAR* n = e.cd->NonLocalizedClassName();
        if (n && host::EqualNoCase(n, name)) return e.cd;
    }
    return nullptr;
}

void* CreateInstance(SClass_ID superID, Class_ID classID) {
    ClassDesc* cd = host::ClassDirectory::Get().FindClass(superID, classID);
    return cd ? cd->Create(FALSE) : nullptr;
}
