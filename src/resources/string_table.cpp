#include "string_table.h"

#include <algorithm>
#include <cwchar>
#include <vector>

#include "resource.h"

namespace kt {
namespace {

// Add entries anywhere; ids must stay unique (checked by the frame tests).
constexpr StringEntry kStrings[] = {
    {IDS_LIBDESCRIPTION, L"Kinetrope"},

    {IDS_CLASS_STATICFLOAT, L"Static Float"},
    {IDS_CLASS_STEPFLOAT, L"Step Float"},
    {IDS_CLASS_MSGCHECKER, L"MsgChecker"},
    {IDS_CLASS_STRETCHCONSTRAINT, L"Stretch Constraint"},
    {IDS_CLASS_AIMCONSTRAINT, L"Aim Constraint"},
    {IDS_CLASS_FLOATEXPOSETM, L"Float Expose TM"},
    {IDS_CLASS_FLOATCONNECTION, L"Float Connection"},
    {IDS_CLASS_SCALECONSTRAINT, L"Scale Constraint"},
    {IDS_CLASS_TRANSFORMCONSTRAINT, L"Transform Constraint"},
    {IDS_CLASS_STATICPOSITION, L"Static Position"},
    {IDS_CLASS_STATICROTATION, L"Static Rotation"},
    {IDS_CLASS_STATICSCALE, L"Static Scale"},
    {IDS_CLASS_STATICTRANSFORM, L"Static Transform"},
    {IDS_CLASS_CURVEIKCONTROL, L"CurveIK Control"},
    {IDS_CLASS_CURVEIKCHAIN, L"CurveIK Chain"},
    {IDS_CLASS_CONTROLHELPER, L"Control Helper"},
    {IDS_CLASS_UIPANEL, L"UI Panel"},
    {IDS_CLASS_UIGROUP, L"UIGroup"},
    {IDS_CLASS_UIIMAGE, L"UIImage"},
    {IDS_CLASS_UIPICKER, L"UIPicker"},
    {IDS_CLASS_UIVISIBILITY, L"UIVisibility"},
    {IDS_CLASS_UITOGGLE, L"UIToggle"},
    {IDS_CLASS_UISLIDER, L"UISlider"},
    {IDS_CLASS_UI2DSLIDER, L"UI2DSlider"},
    {IDS_CLASS_UISPINNER, L"UISpinner"},
    {IDS_CLASS_UI2DSPINNER, L"UI2DSpinner"},
    {IDS_CLASS_UIPANELHOLDER, L"UIPanel Holder"},
    {IDS_CLASS_RIG, L"Rig"},
    {IDS_CLASS_IKFKCHAIN, L"IKFK Chain"},
    {IDS_CLASS_IKFKCONTROL, L"IKFK Control"},
    {IDS_CLASS_IKFKLINK, L"IKFK Link"},
    {IDS_CLASS_PARENTCONSTRAINT, L"Parent Constraint"},
    {IDS_CLASS_ROTATIONSPACE, L"Rotation Space"},
    {IDS_CLASS_POSEKIT, L"Pose Kit"},
    {IDS_CLASS_POSEKITHOLDER, L"Pose Kit Holder"},
    {IDS_CLASS_LIMBATTRIB, L"LimbAttrib"},
    {IDS_CLASS_CURVEATTRIB, L"CurveAttrib"},
    {IDS_CLASS_HEADATTRIB, L"HeadAttrib"},
    {IDS_CLASS_FOOTATTRIB, L"FootAttrib"},
    {IDS_CLASS_LINKATTRIB, L"LinkAttrib"},
    {IDS_CLASS_FLOATOPERATION, L"Float Operation"},
    {IDS_CLASS_FLOATWAVE, L"Float Wave"},
    {IDS_CLASS_RIGCONTROL, L"Rig Transform"},
    {IDS_CLASS_POSITIONCONNECTION, L"Position Connection"},
    {IDS_CLASS_ROTATIONCONNECTION, L"Rotation Connection"},
    {IDS_CLASS_SCALECONNECTION, L"Scale Connection"},
    {IDS_CLASS_MIRRORMORPH, L"Mirror Morph"},
    {IDS_CLASS_CORRECTIVEMORPH, L"CorrectiveMorph"},
    {IDS_CLASS_DYNAMICS, L"Dynamics"},
    {IDS_CLASS_ANIMATIONMANAGERMOD, L"Animation Manager"},
    {IDS_CLASS_ROOTATTRIB, L"RootAttrib"},
    {IDS_CLASS_ROOTCONSTRAINT, L"Root Constraint"},
    {IDS_CLASS_TWISTPOSESFLOAT, L"Twist Poses Float"},
    {IDS_CLASS_TWISTPOSESROTATION, L"Twist Poses Rotation"},
    {IDS_CLASS_UILABEL, L"UI Label"},
    {IDS_CLASS_DUMMYFLOAT, L"Dummy Float"},
    {IDS_CLASS_DUMMYROTATION, L"Dummy Rotation"},
    {IDS_CLASS_ANIMATIONLAYERS, L"Animation Layers"},
    {IDS_CLASS_FLOATLAYERS, L"Float Layers"},
    {IDS_CLASS_POSITIONLAYERS, L"Position Layers"},
    {IDS_CLASS_ROTATIONLAYERS, L"Rotation Layers"},
    {IDS_CLASS_SCALELAYERS, L"Scale Layers"},
    {IDS_CLASS_CONTROLSHAPE, L"Control Shape"},
    {IDS_CLASS_IKFKDISPLAYMOD, L"IKFK Display"},
    {IDS_CLASS_ANIMLAYERSLOCALWEIGHTS, L"Animation Layers Local Weights"},
    {IDS_CLASS_ROTATIONXYZ, L"Rotation XYZ"},
    {IDS_CLASS_FBXEXPORTER, L"Kinetrope FBX Exporter"},
    {IDS_CLASS_FBXIMPORTER, L"Kinetrope FBX Importer"},

    {IDS_VERTICAL_OFFSET, L"Vertical Offset"},
};

HINSTANCE gModuleInstance = nullptr;
MCHAR gBuffer[kStringBufferSize];

// Sorted view of the table for lookups, built on first use so the table itself can
// stay in the order people read it.
const std::vector<StringEntry>& SortedEntries() {
    static const std::vector<StringEntry> sorted = [] {
        std::vector<StringEntry> v(std::begin(kStrings), std::end(kStrings));
        std::stable_sort(v.begin(), v.end(), [](const StringEntry& a, const StringEntry& b) { return a.id < b.id; });
        return v;
    }();
    return sorted;
}

}  // namespace

const MCHAR* GetString(int id) {
    if (!gModuleInstance) return nullptr;
    const auto& entries = SortedEntries();
    auto it = std::lower_bound(entries.begin(), entries.end(), id,
                               [](const StringEntry& e, int key) { return e.id < key; });
    if (it == entries.end() || it->id != id) return nullptr;
    const size_t length = std::min(std::wcslen(it->text), static_cast<size_t>(kStringBufferSize - 1));
    std::wmemcpy(gBuffer, it->text, length);
    gBuffer[length] = L'\0';
    return gBuffer;
}

void SetModuleInstance(HINSTANCE instance) { gModuleInstance = instance; }

HINSTANCE GetModuleInstance() { return gModuleInstance; }

std::span<const StringEntry> StringTableEntries() { return kStrings; }

}  // namespace kt
