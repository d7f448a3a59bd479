// For tests of the plug-in's subsystems: the library's classes made known to the host the way
// the loaded library makes them known, and a fixture that gives every test an empty scene.
#pragma once

#include <gtest/gtest.h>

#include "frame/class_registry.h"
#include "iplugin.h"
#include "maxapi.h"
#include "resources/string_table.h"

namespace kttest {

// Display names on, and the library's classes known to scripts and scene files. Safe to call
// again: a class already known is left as it is.
inline void RegisterLibraryClasses() {
    static int module = 0;
    kt::SetModuleInstance(reinterpret_cast<HINSTANCE>(&module));
    for (unsigned i = 0; i < kt::kNumClasses; ++i) {
        kt::RegistryClassDesc* cd = kt::ClassRegistry::DescAt(i);
        if (cd->HasFactory() && !host::ClassDirectory::Get().FindClass(cd->SuperClassID(), cd->ClassID()))
            host::ClassDirectory::Get().AddClass(cd, L"Kinetrope");
    }
}

// Registers the library's classes and starts and ends each test on an empty scene.
struct LibrarySceneTest : ::testing::Test {
    void SetUp() override {
        RegisterLibraryClasses();
        host::ResetScene();
    }
    void TearDown() override { host::ResetScene(); }
};

}  // namespace kttest
