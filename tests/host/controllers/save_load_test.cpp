// Every standard controller with keys survives a scene file round trip.
#include "ctrl_test_util.h"

#include <algorithm>
#include <cstring>

#include "scenefile.h"

using namespace ctrltest;

namespace {

class SaveLoad : public ControllerTest {
  protected:
    // Writes root into a file, reads it back and answers the copy (held in slot 1 of `into`).
    Control* RoundTrip(Control* root, Holder& into) {
        std::vector<uint8_t> bytes;
        std::wstring err;
        EXPECT_TRUE(host::WriteObjectFile({root}, host::SceneSettings(), bytes, &err))
            << std::string(err.begin(), err.end());
        host::LoadedObjectFile loaded;
        EXPECT_TRUE(host::ReadObjectFile(bytes.data(), bytes.size(), loaded, &err))
            << std::string(err.begin(), err.end());
        if (loaded.Roots().size() != 1) return nullptr;
        auto* c = dynamic_cast<Control*>(loaded.Roots()[0]);
        into.Hold(c, 1);
        loaded.Finish();
        return c;
    }

    // Compares values at many times, whatever the value type, byte for byte.
    static void ExpectSameValues(Control* a, Control* b) {
        for (TimeValue t = -150; t <= 450; t += 25) {
            alignas(16) unsigned char va[64] = {}, vb[64] = {};
            Interval ia = FOREVER, ib = FOREVER;
            if (a->SuperClassID() == CTRL_MATRIX3_CLASS_ID) {
                new (va) Matrix3();
                new (vb) Matrix3();
                a->GetValue(t, va, ia, CTRL_RELATIVE);
                b->GetValue(t, vb, ib, CTRL_RELATIVE);
            } else {
                a->GetValue(t, va, ia, CTRL_ABSOLUTE);
                b->GetValue(t, vb, ib, CTRL_ABSOLUTE);
            }
            EXPECT_EQ(std::memcmp(va, vb, sizeof(va)), 0) << t;
            EXPECT_EQ(ia, ib) << t;
        }
    }
};

TEST_F(SaveLoad, EveryKeyframeControllerRoundTripsItsKeys) {
    for (auto [sc, id] : kKeyframeClasses) {
        Holder h(2);
        Control* c = h.Hold(Make(sc, id));
        ASSERT_NE(c, nullptr);
        for (int i = 0; i < 4; ++i) {
            c->AddNewKey(i * 100, 0);
            alignas(16) unsigned char v[64] = {};
            switch (sc) {
            case CTRL_FLOAT_CLASS_ID:
                *reinterpret_cast<float*>(v) = float(i * i);
                break;
            case CTRL_ROTATION_CLASS_ID:
                new (v) Quat(AngAxis(Point3(1.0f, float(i), 2.0f).Normalize(), 0.7f * float(i)));
                break;
            case CTRL_SCALE_CLASS_ID:
                new (v) ScaleValue(Point3(1.0f + float(i), 2.0f, 0.5f),
                                   Quat(AngAxis(Point3::ZAxis, 0.1f * float(i))));
                break;
            default:
                new (v) Point3(float(i), float(-i), float(i * i));
                break;
            }
            c->SetValue(i * 100, v);
        }
        c->SetORT(ORT_OSCILLATE, ORT_AFTER);
        c->SelectKeys(Interval(100, 100), SELKEYS_SELECT);
        Control* back = RoundTrip(c, h);
        ASSERT_NE(back, nullptr) << std::hex << id;
        EXPECT_EQ(back->ClassID(), c->ClassID());
        EXPECT_EQ(back->NumKeys(), 4);
        EXPECT_EQ(back->GetORT(ORT_AFTER), c->GetORT(ORT_AFTER));
        EXPECT_TRUE(back->IsKeySelected(1));
        IKeyControl* ka = GetKeyControlInterface(c);
        IKeyControl* kb = GetKeyControlInterface(back);
        for (int i = 0; i < 4; ++i) {
            alignas(16) unsigned char a[128] = {}, b[128] = {};
            ka->GetKey(i, reinterpret_cast<IKey*>(a));
            kb->GetKey(i, reinterpret_cast<IKey*>(b));
            EXPECT_EQ(std::memcmp(a, b, size_t(ka->GetKeySize())), 0) << std::hex << id << " key " << i;
        }
        ExpectSameValues(c, back);
    }
}

TEST_F(SaveLoad, CompoundControllersRoundTripWithTheirSubControllers) {
    // A PRS whose rotation is an Euler XYZ in ZXY with keys, position a list, scale XYZ.
    Holder h(2);
    Control* prs = h.Hold(NewDefaultMatrix3Controller());
    Control* list = Make(CTRL_POSITION_CLASS_ID, POSLIST_CONTROL_CLASS_ID);
    list->AssignController(NewDefaultPositionController(), 0);
    list->AssignController(Make(CTRL_POSITION_CLASS_ID, IPOS_CONTROL_CLASS_ID), 1);
    GetIListControlInterface(list)->SetSubCtrlWeight(1, 0, 0.25f);
    GetIListControlInterface(list)->SetName(1, MSTR(L"Offset"));
    GetIListControlInterface(list)->SetActive(1);
    prs->SetPositionController(list);
    prs->SetScaleController(Make(CTRL_SCALE_CLASS_ID, ISCALE_CONTROL_CLASS_ID));
    GetEulerControlInterface(prs->GetRotationController())->SetOrder(EULERTYPE_ZXY);
    AnimateOn();
    for (int i = 0; i < 3; ++i) {
        SetXFormPacket set(ScaleMatrix(Point3(1.0f, 1.0f + float(i), 1.0f)) * RotateXMatrix(0.3f * float(i)) *
                               RotateZMatrix(-0.2f * float(i)) * TransMatrix(Point3(float(i), 2.0f, 3.0f)),
                           Matrix3());
        prs->SetValue(i * 100, &set);
    }
    AnimateOff();
    dynamic_cast<ILockedTrack*>(prs->GetScaleController())->SetLocked(true);

    Control* back = RoundTrip(prs, h);
    ASSERT_NE(back, nullptr);
    ExpectSameValues(prs, back);
    IListControl* il = GetIListControlInterface(back->GetPositionController());
    ASSERT_NE(il, nullptr);
    EXPECT_EQ(il->GetListCount(), 2);
    EXPECT_EQ(il->GetActive(), 1);
    EXPECT_FLOAT_EQ(il->GetSubCtrlWeight(1, 0), 0.25f);
    EXPECT_EQ(il->GetName(1), MSTR(L"Offset"));
    EXPECT_EQ(GetEulerControlInterface(back->GetRotationController())->GetOrder(), EULERTYPE_ZXY);
    EXPECT_TRUE(dynamic_cast<ILockedTrack*>(back->GetScaleController())->GetLocked());
    EXPECT_EQ(back->GetRotationController()->GetZController()->NumKeys(), 3);
}

TEST_F(SaveLoad, EaseCurvesAndConstraintWeightsRoundTrip) {
    Holder h(2);
    Control* f = h.Hold(NewDefaultFloatController());
    SetFloatAnimated(f, 0, 0.0f);
    SetFloatAnimated(f, 100, 10.0f);
    Control* ease = NewDefaultFloatController();
    SetFloatAnimated(ease, 0, 0.0f);
    SetFloatAnimated(ease, 100, 30.0f);
    f->AppendEaseCurve(ease);
    f->AppendMultCurve(NewDefaultFloatController());
    dynamic_cast<StdControl*>(f)->EnableMultCurve(0, FALSE);
    Control* back = RoundTrip(f, h);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->NumEaseCurves(), 1);
    EXPECT_EQ(back->NumMultCurves(), 1);
    EXPECT_FALSE(dynamic_cast<StdControl*>(back)->IsMultCurveEnabled(0));
    ExpectSameValues(f, back);

    Holder h2(2);
    Control* pc = h2.Hold(Make(CTRL_POSITION_CLASS_ID, POSITION_CONSTRAINT_CLASS_ID));
    Control* pback = RoundTrip(pc, h2);
    ASSERT_NE(pback, nullptr);
    EXPECT_EQ(GetPosConstraintInterface(pback)->GetNumTargets(), 0);
}

TEST_F(SaveLoad, DamagedKeyChunksAreRefused) {
    Holder h(1);
    Control* c = h.Hold(NewDefaultFloatController());
    SetFloatAnimated(c, 0, 1.0f);
    SetFloatAnimated(c, 100, 2.0f);
    host::ChunkWriter w;
    w.BeginChunk(1);
    c->Save(&w);
    w.EndChunk();
    ASSERT_TRUE(w.Ok());
    std::vector<uint8_t> bytes = w.Bytes();
    // The key count claims one key more than the chunk holds: the key chunk (id 0x0110, 4 + 2 * 28
    // bytes) starts with the count 2.
    const uint8_t pattern[] = {0x10, 0x01, 60, 0, 0, 0, 2, 0, 0, 0};
    auto it = std::search(bytes.begin(), bytes.end(), std::begin(pattern), std::end(pattern));
    ASSERT_NE(it, bytes.end());
    it[6] = 3;
    host::ChunkReader r(bytes.data(), bytes.size());
    ASSERT_EQ(r.OpenChunk(), IO_OK);
    Control* fresh = h.Hold(NewDefaultFloatController());
    EXPECT_NE(fresh->Load(&r), IO_OK);
}

} // namespace
