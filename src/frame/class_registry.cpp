#include "frame/class_registry.h"

#include <array>
#include <utility>

#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

constexpr DWORD kCtrlFamily = 0x45596D56;    // controllers, panel elements, custom attributes
constexpr DWORD kObjectFamily = 0x45596D57;  // ControlHelper, ControlShape, rig objects
constexpr DWORD kModFamily = 0x45596D58;     // modifiers

constexpr const MCHAR* kAnimation = L"Animation";
constexpr const MCHAR* kNone = L"";

// Saved scenes name objects by these identities: never renumber or reorder.
// clang-format off
constexpr std::array<ClassRow, kNumClasses> kRows{{
    {"StaticFloat", IDS_CLASS_STATICFLOAT, L"StaticFloat", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B36), kAnimation, true},
    {"StepFloat", IDS_CLASS_STEPFLOAT, L"StepFloat", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B37), kAnimation, true},
    {"MsgChecker", IDS_CLASS_MSGCHECKER, L"MsgChecker", false, REF_TARGET_CLASS_ID, Class_ID(0x8443DFA5, 0x3F434885), kAnimation, true},
    {"StretchConstraint", IDS_CLASS_STRETCHCONSTRAINT, L"StretchConstraint", false, CTRL_MATRIX3_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B40), kAnimation, true},
    {"AimConstraint", IDS_CLASS_AIMCONSTRAINT, L"AimConstraint", false, CTRL_ROTATION_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B39), kAnimation, true},
    {"FloatExposeTM", IDS_CLASS_FLOATEXPOSETM, L"FloatExposeTM", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B41), kAnimation, true},
    {"FloatConnection", IDS_CLASS_FLOATCONNECTION, L"FloatConnection", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B43), kAnimation, true},
    {"ScaleConstraint", IDS_CLASS_SCALECONSTRAINT, L"ScaleConstraint", false, CTRL_SCALE_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B44), kAnimation, true},
    {"TransformConstraint", IDS_CLASS_TRANSFORMCONSTRAINT, L"TransformConstraint", false, CTRL_MATRIX3_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B45), kAnimation, true},
    {"StaticPosition", IDS_CLASS_STATICPOSITION, L"StaticPosition", false, CTRL_POSITION_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B50), kAnimation, true},
    {"StaticRotation", IDS_CLASS_STATICROTATION, L"StaticRotation", false, CTRL_ROTATION_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B47), kAnimation, true},
    {"StaticScale", IDS_CLASS_STATICSCALE, L"StaticScale", false, CTRL_SCALE_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B48), kAnimation, true},
    {"StaticTransform", IDS_CLASS_STATICTRANSFORM, L"StaticTransform", false, CTRL_MATRIX3_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B49), kAnimation, true},
    {"CurveIKControl", IDS_CLASS_CURVEIKCONTROL, L"CurveIKControl", false, CTRL_MATRIX3_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B51), kAnimation, false},
    {"CurveIKChain", IDS_CLASS_CURVEIKCHAIN, L"CurveIKChain", false, CTRL_MATRIX3_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B52), kAnimation, false},
    {"ControlHelper", IDS_CLASS_CONTROLHELPER, L"ControlHelper", false, HELPER_CLASS_ID, Class_ID(kObjectFamily, 0x1E847B30), kNone, true},
    {"UIPanel", IDS_CLASS_UIPANEL, L"UIPanel", false, HELPER_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F00), kNone, true},
    {"UIGroup", IDS_CLASS_UIGROUP, L"UIGroup", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F01), kAnimation, true},
    {"UIImage", IDS_CLASS_UIIMAGE, L"UIImage", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F03), kAnimation, true},
    {"UIPicker", IDS_CLASS_UIPICKER, L"UIPicker", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F04), kAnimation, true},
    {"UIVisibility", IDS_CLASS_UIVISIBILITY, L"UIVisibility", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F0B), kAnimation, true},
    {"UIToggle", IDS_CLASS_UITOGGLE, L"UIToggle", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F05), kAnimation, true},
    // Shows entry 256 on purpose; the name is kept as it stands.
    {"UIAction", IDS_VERTICAL_OFFSET, L"UIAction", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F06), kAnimation, true},
    {"UISlider", IDS_CLASS_UISLIDER, L"UISlider", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F07), kAnimation, true},
    {"UI2DSlider", IDS_CLASS_UI2DSLIDER, L"UI2DSlider", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F08), kAnimation, true},
    {"UISpinner", IDS_CLASS_UISPINNER, L"UISpinner", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F09), kAnimation, true},
    {"UI2DSpinner", IDS_CLASS_UI2DSPINNER, L"UI2DSpinner", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F0A), kAnimation, true},
    {"UIPanelHolder", IDS_CLASS_UIPANELHOLDER, L"UIPanelHolder", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F99), kAnimation, false},
    // Rig and RigSystem both make a RigSystem: the first is what stands in the scene,
    // the second what the user picks among systems.
    {"Rig", IDS_CLASS_RIG, L"Rig", false, HELPER_CLASS_ID, Class_ID(kObjectFamily, 0x1E847B40), kNone, false},
    {"RigSystem", IDS_CLASS_RIG, L"Rig", false, SYSTEM_CLASS_ID, Class_ID(kObjectFamily, 0x1E847B41), kNone, true},
    {"IKFKChain", IDS_CLASS_IKFKCHAIN, L"IKFKChain", false, CTRL_MATRIX3_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B60), kAnimation, false},
    {"IKFKControl", IDS_CLASS_IKFKCONTROL, L"IKFKControl", false, CTRL_MATRIX3_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B62), kAnimation, false},
    {"IKFKLink", IDS_CLASS_IKFKLINK, L"IKFKLink", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B63), kAnimation, false},
    {"ParentConstraint", IDS_CLASS_PARENTCONSTRAINT, L"ParentConstraint", false, CTRL_MATRIX3_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B54), kAnimation, true},
    {"RotationSpace", IDS_CLASS_ROTATIONSPACE, L"RotationSpace", false, CTRL_MATRIX3_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B55), kAnimation, true},
    {"PoseKit", IDS_CLASS_POSEKIT, L"PoseKit", false, HELPER_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847000), kNone, true},
    {"PoseKitHolder", IDS_CLASS_POSEKITHOLDER, L"PoseKitHolder", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F0A), kAnimation, false},
    {"LimbAttrib", IDS_CLASS_LIMBATTRIB, nullptr, true, CUST_ATTRIB_CLASS_ID, Class_ID(kCtrlFamily, 0x1E848001), kNone, true},
    {"CurveAttrib", IDS_CLASS_CURVEATTRIB, nullptr, true, CUST_ATTRIB_CLASS_ID, Class_ID(kCtrlFamily, 0x1E848002), kNone, true},
    {"HeadAttrib", IDS_CLASS_HEADATTRIB, nullptr, true, CUST_ATTRIB_CLASS_ID, Class_ID(kCtrlFamily, 0x1E848003), kNone, true},
    {"FootAttrib", IDS_CLASS_FOOTATTRIB, nullptr, true, CUST_ATTRIB_CLASS_ID, Class_ID(kCtrlFamily, 0x1E848004), kNone, true},
    {"LinkAttrib", IDS_CLASS_LINKATTRIB, nullptr, true, CUST_ATTRIB_CLASS_ID, Class_ID(kCtrlFamily, 0x1E848005), kNone, true},
    {"FloatOperation", IDS_CLASS_FLOATOPERATION, L"FloatOperation", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B56), kAnimation, true},
    {"FloatWave", IDS_CLASS_FLOATWAVE, L"FloatWave", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B57), kAnimation, true},
    {"RigControl", IDS_CLASS_RIGCONTROL, L"RigTransform", false, CTRL_MATRIX3_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B58), kAnimation, true},
    {"PositionConnection", IDS_CLASS_POSITIONCONNECTION, L"PositionConnection", false, CTRL_POSITION_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B59), kAnimation, true},
    {"RotationConnection", IDS_CLASS_ROTATIONCONNECTION, L"RotationConnection", false, CTRL_ROTATION_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B60), kAnimation, true},
    {"ScaleConnection", IDS_CLASS_SCALECONNECTION, L"ScaleConnection", false, CTRL_SCALE_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B61), kAnimation, true},
    {"MirrorMorph", IDS_CLASS_MIRRORMORPH, L"MirrorMorph", false, OSM_CLASS_ID, Class_ID(kModFamily, 0x1E847B01), kNone, true},
    {"CorrectiveMorph", IDS_CLASS_CORRECTIVEMORPH, L"CorrectiveMorph", false, OSM_CLASS_ID, Class_ID(kModFamily, 0x1E847B02), kNone, true},
    {"Dynamics", IDS_CLASS_DYNAMICS, L"Dynamics", false, HELPER_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847001), kNone, false},
    {"AnimationManagerMod", IDS_CLASS_ANIMATIONMANAGERMOD, L"AnimationManagerMod", false, OSM_CLASS_ID, Class_ID(kModFamily, 0x1E847B03), kNone, true},
    {"RootAttrib", IDS_CLASS_ROOTATTRIB, nullptr, true, CUST_ATTRIB_CLASS_ID, Class_ID(kCtrlFamily, 0x1E848006), kNone, true},
    {"RootConstraint", IDS_CLASS_ROOTCONSTRAINT, L"RootConstraint", false, CTRL_MATRIX3_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B64), kAnimation, true},
    {"TwistPosesFloat", IDS_CLASS_TWISTPOSESFLOAT, L"TwistPosesFloat", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B65), kAnimation, true},
    {"TwistPosesRotation", IDS_CLASS_TWISTPOSESROTATION, L"TwistPosesRotation", false, CTRL_ROTATION_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B66), kAnimation, true},
    {"UILabel", IDS_CLASS_UILABEL, L"UILabel", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847F0C), kAnimation, true},
    {"DummyFloat", IDS_CLASS_DUMMYFLOAT, L"DummyFloat", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B67), kAnimation, false},
    {"DummyRotation", IDS_CLASS_DUMMYROTATION, L"DummyRotation", false, CTRL_ROTATION_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B68), kAnimation, false},
    {"AnimationLayers", IDS_CLASS_ANIMATIONLAYERS, L"AnimationLayers", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B69), kAnimation, false},
    {"FloatLayers", IDS_CLASS_FLOATLAYERS, L"FloatLayers", false, CTRL_FLOAT_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B70), kAnimation, false},
    {"PositionLayers", IDS_CLASS_POSITIONLAYERS, L"PositionLayers", false, CTRL_POSITION_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B71), kAnimation, false},
    {"RotationLayers", IDS_CLASS_ROTATIONLAYERS, L"RotationLayers", false, CTRL_ROTATION_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B72), kAnimation, false},
    {"ScaleLayers", IDS_CLASS_SCALELAYERS, L"ScaleLayers", false, CTRL_SCALE_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B73), kAnimation, false},
    {"ControlShape", IDS_CLASS_CONTROLSHAPE, L"ControlShape", false, SHAPE_CLASS_ID, Class_ID(kObjectFamily, 0xED40C435), L"Splines", true},
    {"IKFKDisplayMod", IDS_CLASS_IKFKDISPLAYMOD, L"IKFKDisplayMod", false, OSM_CLASS_ID, Class_ID(kModFamily, 0x03397FDC), kNone, true},
    {"AnimLayersLocalWeights", IDS_CLASS_ANIMLAYERSLOCALWEIGHTS, L"AnimLayersLocalWeights", false, REF_TARGET_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B68), kAnimation, false},
    // The blank in the script name is deliberate.
    {"RotationXYZ", IDS_CLASS_ROTATIONXYZ, L"Rotation XYZ", false, CTRL_ROTATION_CLASS_ID, Class_ID(kCtrlFamily, 0x1E847B74), kAnimation, true},
    {"FBXExporter", IDS_CLASS_FBXEXPORTER, L"KinetropeFBXExporter", false, SCENE_EXPORT_CLASS_ID, Class_ID(0x61A849D3, 0x2E7B530C), kNone, true},
    {"FBXImporter", IDS_CLASS_FBXIMPORTER, L"KinetropeFBXImporter", false, SCENE_IMPORT_CLASS_ID, Class_ID(0x5D9B730A, 0x37C248F1), kNone, true},
}};
// clang-format on

// Built on first use rather than as a namespace-scope global, so that descriptions
// registering from other translation units' static initialisers find it ready.
std::array<RegistryClassDesc, kNumClasses>& Descs() {
    static std::array<RegistryClassDesc, kNumClasses> descs = []<std::size_t... I>(std::index_sequence<I...>) {
        return std::array<RegistryClassDesc, kNumClasses>{RegistryClassDesc(kRows[I])...};
    }(std::make_index_sequence<kNumClasses>{});
    return descs;
}

}  // namespace

const MCHAR* RegistryClassDesc::ClassName() { return GetString(row_.displayNameId); }

const MCHAR* RegistryClassDesc::NonLocalizedClassName() {
    return row_.scriptFromTable ? GetString(row_.displayNameId) : row_.scriptName;
}

HINSTANCE RegistryClassDesc::HInstance() { return GetModuleInstance(); }

const MCHAR* RegistryClassDesc::GetRsrcString(INT_PTR id) { return GetString(static_cast<int>(id)); }

MaxSDK::QMaxParamBlockWidget* RegistryClassDesc::CreateQtWidget(ReferenceMaker& owner, IParamBlock2& paramBlock,
                                                                MapID paramMapID, MSTR& rollupTitle,
                                                                int& rollupFlags, int& rollupCategory) {
    if (!qtWidget_) return nullptr;
    return qtWidget_(owner, paramBlock, paramMapID, rollupTitle, rollupFlags, rollupCategory);
}

const ClassRow& ClassRegistry::RowAt(unsigned index) { return kRows.at(index); }

RegistryClassDesc* ClassRegistry::DescAt(unsigned index) {
    return index < kNumClasses ? &Descs()[index] : nullptr;
}

int ClassRegistry::IndexOf(SClass_ID superClassId, Class_ID classId) {
    for (unsigned i = 0; i < kNumClasses; ++i)
        if (kRows[i].superClassId == superClassId && kRows[i].classId == classId) return static_cast<int>(i);
    return -1;
}

RegistryClassDesc* ClassRegistry::Find(SClass_ID superClassId, Class_ID classId) {
    int i = IndexOf(superClassId, classId);
    return i < 0 ? nullptr : DescAt(static_cast<unsigned>(i));
}

bool ClassRegistry::AttachFactory(SClass_ID superClassId, Class_ID classId, ClassCreateFn create) {
    RegistryClassDesc* cd = Find(superClassId, classId);
    if (!cd || !create || cd->create_) return false;
    cd->create_ = create;
    return true;
}

bool ClassRegistry::AttachQtWidgetFactory(SClass_ID superClassId, Class_ID classId, QtWidgetCreateFn create) {
    RegistryClassDesc* cd = Find(superClassId, classId);
    if (!cd || !create || cd->qtWidget_) return false;
    cd->qtWidget_ = create;
    return true;
}

ClassFactoryRegistrar::ClassFactoryRegistrar(SClass_ID superClassId, Class_ID classId, ClassCreateFn create,
                                             QtWidgetCreateFn qtWidget)
    : attached(ClassRegistry::AttachFactory(superClassId, classId, create)) {
    if (attached && qtWidget) attached = ClassRegistry::AttachQtWidgetFactory(superClassId, classId, qtWidget);
}

}  // namespace kt
