// Kinetrope.dlc as the host loads it: its exports and its 70 classes.
#include <dlfcn.h>

#include <cwchar>
#include <string>

#include <gtest/gtest.h>

#include "hoststart.h"
#include "iplugin.h"
#include "maxapi.h"
#include "notify.h"

namespace {

struct ExpectedRow {
    const wchar_t* display;
    const wchar_t* script;
    SClass_ID super;
    unsigned long a, b;
    const wchar_t* category;
    bool isPublic;
};

constexpr unsigned long C = 0x45596D56, O = 0x45596D57, M = 0x45596D58;
constexpr const wchar_t* A = L"Animation";

// The registry as users and saved scenes know it, index by index.
// clang-format off
const ExpectedRow kExpected[70] = {
    {L"Static Float", L"StaticFloat", 0x9003, C, 0x1E847B36, A, true},
    {L"Step Float", L"StepFloat", 0x9003, C, 0x1E847B37, A, true},
    {L"MsgChecker", L"MsgChecker", 0x200, 0x8443DFA5, 0x3F434885, A, true},
    {L"Stretch Constraint", L"StretchConstraint", 0x9008, C, 0x1E847B40, A, true},
    {L"Aim Constraint", L"AimConstraint", 0x900C, C, 0x1E847B39, A, true},
    {L"Float Expose TM", L"FloatExposeTM", 0x9003, C, 0x1E847B41, A, true},
    {L"Float Connection", L"FloatConnection", 0x9003, C, 0x1E847B43, A, true},
    {L"Scale Constraint", L"ScaleConstraint", 0x900D, C, 0x1E847B44, A, true},
    {L"Transform Constraint", L"TransformConstraint", 0x9008, C, 0x1E847B45, A, true},
    {L"Static Position", L"StaticPosition", 0x900B, C, 0x1E847B50, A, true},
    {L"Static Rotation", L"StaticRotation", 0x900C, C, 0x1E847B47, A, true},
    {L"Static Scale", L"StaticScale", 0x900D, C, 0x1E847B48, A, true},
    {L"Static Transform", L"StaticTransform", 0x9008, C, 0x1E847B49, A, true},
    {L"CurveIK Control", L"CurveIKControl", 0x9008, C, 0x1E847B51, A, false},
    {L"CurveIK Chain", L"CurveIKChain", 0x9008, C, 0x1E847B52, A, false},
    {L"Control Helper", L"ControlHelper", 0x50, O, 0x1E847B30, L"", true},
    {L"UI Panel", L"UIPanel", 0x50, C, 0x1E847F00, L"", true},
    {L"UIGroup", L"UIGroup", 0x200, C, 0x1E847F01, A, true},
    {L"UIImage", L"UIImage", 0x200, C, 0x1E847F03, A, true},
    {L"UIPicker", L"UIPicker", 0x200, C, 0x1E847F04, A, true},
    {L"UIVisibility", L"UIVisibility", 0x200, C, 0x1E847F0B, A, true},
    {L"UIToggle", L"UIToggle", 0x200, C, 0x1E847F05, A, true},
    {L"Vertical Offset", L"UIAction", 0x200, C, 0x1E847F06, A, true},
    {L"UISlider", L"UISlider", 0x200, C, 0x1E847F07, A, true},
    {L"UI2DSlider", L"UI2DSlider", 0x200, C, 0x1E847F08, A, true},
    {L"UISpinner", L"UISpinner", 0x200, C, 0x1E847F09, A, true},
    {L"UI2DSpinner", L"UI2DSpinner", 0x200, C, 0x1E847F0A, A, true},
    {L"UIPanel Holder", L"UIPanelHolder", 0x9003, C, 0x1E847F99, A, false},
    {L"Rig", L"Rig", 0x50, O, 0x1E847B40, L"", false},
    {L"Rig", L"Rig", 0x60, O, 0x1E847B41, L"", true},
    {L"IKFK Chain", L"IKFKChain", 0x9008, C, 0x1E847B60, A, false},
    {L"IKFK Control", L"IKFKControl", 0x9008, C, 0x1E847B62, A, false},
    {L"IKFK Link", L"IKFKLink", 0x9003, C, 0x1E847B63, A, false},
    {L"Parent Constraint", L"ParentConstraint", 0x9008, C, 0x1E847B54, A, true},
    {L"Rotation Space", L"RotationSpace", 0x9008, C, 0x1E847B55, A, true},
    {L"Pose Kit", L"PoseKit", 0x50, C, 0x1E847000, L"", true},
    {L"Pose Kit Holder", L"PoseKitHolder", 0x9003, C, 0x1E847F0A, A, false},
    {L"LimbAttrib", L"LimbAttrib", 0x1160, C, 0x1E848001, L"", true},
    {L"CurveAttrib", L"CurveAttrib", 0x1160, C, 0x1E848002, L"", true},
    {L"HeadAttrib", L"HeadAttrib", 0x1160, C, 0x1E848003, L"", true},
    {L"FootAttrib", L"FootAttrib", 0x1160, C, 0x1E848004, L"", true},
    {L"LinkAttrib", L"LinkAttrib", 0x1160, C, 0x1E848005, L"", true},
    {L"Float Operation", L"FloatOperation", 0x9003, C, 0x1E847B56, A, true},
    {L"Float Wave", L"FloatWave", 0x9003, C, 0x1E847B57, A, true},
    {L"Rig Transform", L"RigTransform", 0x9008, C, 0x1E847B58, A, true},
    {L"Position Connection", L"PositionConnection", 0x900B, C, 0x1E847B59, A, true},
    {L"Rotation Connection", L"RotationConnection", 0x900C, C, 0x1E847B60, A, true},
    {L"Scale Connection", L"ScaleConnection", 0x900D, C, 0x1E847B61, A, true},
    {L"Mirror Morph", L"MirrorMorph", 0x810, M, 0x1E847B01, L"", true},
    {L"CorrectiveMorph", L"CorrectiveMorph", 0x810, M, 0x1E847B02, L"", true},
    {L"Dynamics", L"Dynamics", 0x50, C, 0x1E847001, L"", false},
    {L"Animation Manager", L"AnimationManagerMod", 0x810, M, 0x1E847B03, L"", true},
    {L"RootAttrib", L"RootAttrib", 0x1160, C, 0x1E848006, L"", true},
    {L"Root Constraint", L"RootConstraint", 0x9008, C, 0x1E847B64, A, true},
    {L"Twist Poses Float", L"TwistPosesFloat", 0x9003, C, 0x1E847B65, A, true},
    {L"Twist Poses Rotation", L"TwistPosesRotation", 0x900C, C, 0x1E847B66, A, true},
    {L"UI Label", L"UILabel", 0x200, C, 0x1E847F0C, A, true},
    {L"Dummy Float", L"DummyFloat", 0x9003, C, 0x1E847B67, A, false},
    {L"Dummy Rotation", L"DummyRotation", 0x900C, C, 0x1E847B68, A, false},
    {L"Animation Layers", L"AnimationLayers", 0x200, C, 0x1E847B69, A, false},
    {L"Float Layers", L"FloatLayers", 0x9003, C, 0x1E847B70, A, false},
    {L"Position Layers", L"PositionLayers", 0x900B, C, 0x1E847B71, A, false},
    {L"Rotation Layers", L"RotationLayers", 0x900C, C, 0x1E847B72, A, false},
    {L"Scale Layers", L"ScaleLayers", 0x900D, C, 0x1E847B73, A, false},
    {L"Control Shape", L"ControlShape", 0x40, O, 0xED40C435, L"Splines", true},
    {L"IKFK Display", L"IKFKDisplayMod", 0x810, M, 0x03397FDC, L"", true},
    {L"Animation Layers Local Weights", L"AnimLayersLocalWeights", 0x200, C, 0x1E847B68, A, false},
    {L"Rotation XYZ", L"Rotation XYZ", 0x900C, C, 0x1E847B74, A, true},
    {L"Kinetrope FBX Exporter", L"KinetropeFBXExporter", 0xA20, 0x61A849D3, 0x2E7B530C, L"", true},
    {L"Kinetrope FBX Importer", L"KinetropeFBXImporter", 0xA10, 0x5D9B730A, 0x37C248F1, L"", true},
};
// clang-format on

std::string LibraryPath() { return host::DefaultPluginFolder() + "/Kinetrope.dlc"; }

// Loads the library for one test and unloads it after, so each test sees a fresh start.
class KinetropeLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        lib_ = host::LoadPlugin(LibraryPath().c_str());
        ASSERT_NE(lib_, nullptr) << "Kinetrope.dlc not found in " << host::DefaultPluginFolder();
    }
    void TearDown() override { host::UnloadPlugins(); }

    template <typename Fn>
    Fn Export(const char* name) {
        return reinterpret_cast<Fn>(dlsym(lib_->handle, name));
    }

    host::PluginLibrary* lib_ = nullptr;
};

TEST_F(KinetropeLibrary, RegistersTheSeventyClassesOfTheTable) {
    auto classDesc = Export<LibClassDescFn>("LibClassDesc");
    ASSERT_NE(classDesc, nullptr);
    ASSERT_EQ(lib_->classes.size(), 70u);
    const host::ClassDirectory& dir = host::ClassDirectory::Get();
    for (int i = 0; i < 70; ++i) {
        SCOPED_TRACE("index " + std::to_string(i));
        const ExpectedRow& e = kExpected[i];
        ClassDesc* cd = classDesc(i);
        ASSERT_NE(cd, nullptr);
        EXPECT_EQ(cd, lib_->classes[static_cast<size_t>(i)]);
        const std::wstring display = cd->ClassName() ? cd->ClassName() : L"(null)";
        const std::wstring script = cd->NonLocalizedClassName() ? cd->NonLocalizedClassName() : L"(null)";
        EXPECT_EQ(display, e.display);
        EXPECT_EQ(script, e.script);
        EXPECT_EQ(cd->SuperClassID(), e.super);
        EXPECT_EQ(cd->ClassID(), Class_ID(e.a, e.b));
        EXPECT_STREQ(cd->Category(), e.category);
        EXPECT_EQ(cd->IsPublic(), e.isPublic ? 1 : 0);
        EXPECT_EQ(cd->BeginCreate(nullptr), 0);
        EXPECT_EQ(cd->EndCreate(nullptr), 0);
        EXPECT_EQ(cd->OkToCreate(nullptr), TRUE);
        // The host knows each one by its full identity, under the library's name.
        ClassDesc* known = dir.FindClass(e.super, Class_ID(e.a, e.b));
        EXPECT_EQ(known, cd);
    }
    int fromLibrary = 0;
    for (int i = 0; i < dir.Count(); ++i)
        if (MSTR(dir.LibraryOf(i)) == L"Kinetrope") ++fromLibrary;
    EXPECT_EQ(fromLibrary, 70);
}

TEST_F(KinetropeLibrary, ExportsAnswerTheHostContract) {
    auto description = Export<LibDescriptionFn>("LibDescription");
    auto count = Export<LibNumberClassesFn>("LibNumberClasses");
    auto classDesc = Export<LibClassDescFn>("LibClassDesc");
    auto version = Export<LibVersionFn>("LibVersion");
    auto defer = Export<CanAutoDeferFn>("CanAutoDefer");
    ASSERT_TRUE(description && count && classDesc && version && defer);
    EXPECT_STREQ(description(), L"Kinetrope");
    EXPECT_EQ(lib_->description, L"Kinetrope");
    EXPECT_EQ(count(), 70);
    EXPECT_EQ(version(), 0x69784200ul);
    EXPECT_EQ(defer(), 0ul);
    // The index is unsigned: past the end and "negative" are both out of range.
    EXPECT_NE(classDesc(69), nullptr);
    EXPECT_EQ(classDesc(70), nullptr);
    EXPECT_EQ(classDesc(71), nullptr);
    EXPECT_EQ(classDesc(100000), nullptr);
    EXPECT_EQ(classDesc(-1), nullptr);
}

TEST_F(KinetropeLibrary, DisplayNamesShareOneBuffer) {
    ClassDesc* staticFloat = lib_->classes[0];
    ClassDesc* stepFloat = lib_->classes[1];
    const MCHAR* first = staticFloat->ClassName();
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first, L"Static Float");
    const MCHAR* second = stepFloat->ClassName();
    EXPECT_EQ(first, second);
    // A caller that kept the first result now reads the second name.
    EXPECT_STREQ(first, L"Step Float");
    // Script names of the custom attributes come from the same buffer.
    const MCHAR* attribScript = lib_->classes[37]->NonLocalizedClassName();
    EXPECT_EQ(attribScript, first);
    EXPECT_STREQ(attribScript, L"LimbAttrib");
}

TEST_F(KinetropeLibrary, EndWorkRunsTwiceAndLeavesNothingRegistered) {
    auto initialize = Export<LibInitializeFn>("LibInitialize");
    auto shutdown = Export<LibShutdownFn>("LibShutdown");
    ASSERT_TRUE(initialize && shutdown);
    const std::string path = LibraryPath();

    // A repeated initialisation registers nothing twice.
    EXPECT_EQ(initialize(), 1);
    host::ListenerCapture capture;
    BroadcastNotification(NOTIFY_SYSTEM_STARTUP);
    BroadcastNotification(NOTIFY_CUI_MENUS_POST_LOAD);
    BroadcastNotification(NOTIFY_CURVE_EDITOR_OVERRIDE);
    // With no curve editor override to install, starting reports no failure.
    EXPECT_EQ(capture.Text().find("Kinetrope: native spinner menu interception"), std::string::npos);

    // The end callback runs the end work, LibShutdown runs it again, then a direct call
    // a third time: none of them may fail or find anything left.
    BroadcastNotification(NOTIFY_SYSTEM_SHUTDOWN);
    EXPECT_EQ(shutdown(), 1);
    EXPECT_EQ(shutdown(), 1);
    host::UnloadPlugins();
    lib_ = nullptr;

    void* still = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (still) dlclose(still);
    ASSERT_EQ(still, nullptr) << "the library stayed mapped, so the checks below would prove nothing";
    // Every callback of the library is gone: calling one now would jump into unmapped code.
    for (int code : {NOTIFY_SYSTEM_STARTUP, NOTIFY_SYSTEM_SHUTDOWN, NOTIFY_CUI_MENUS_POST_LOAD,
                     NOTIFY_CURVE_EDITOR_OVERRIDE})
        BroadcastNotification(code);
    EXPECT_EQ(host::ClassDirectory::Get().FindClass(REF_TARGET_CLASS_ID, Class_ID(0x8443DFA5, 0x3F434885)), nullptr);
}

}  // namespace
