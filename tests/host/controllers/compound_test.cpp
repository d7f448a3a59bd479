// Euler XYZ, Position XYZ, Scale XYZ, PRS transform packets, lists and the default
// controllers.
#include "ctrl_test_util.h"

#include "euler.h"

using namespace ctrltest;

namespace {

class Compound : public ControllerTest {
  protected:
    Holder holder{3};
};

Matrix3 LocalOf(Control* prs, TimeValue t) {
    Matrix3 m;
    Interval iv = FOREVER;
    prs->GetValue(t, &m, iv, CTRL_RELATIVE);
    return m;
}

TEST_F(Compound, DefaultControllersAreTheHostsClasses) {
    struct Expect {
        Control* c;
        SClass_ID sc;
        Class_ID id;
    } expect[] = {
        {NewDefaultFloatController(), CTRL_FLOAT_CLASS_ID, Class_ID(HYBRIDINTERP_FLOAT_CLASS_ID, 0)},
        {NewDefaultPoint3Controller(), CTRL_POINT3_CLASS_ID, Class_ID(HYBRIDINTERP_POINT3_CLASS_ID, 0)},
        {NewDefaultPositionController(), CTRL_POSITION_CLASS_ID, Class_ID(HYBRIDINTERP_POSITION_CLASS_ID, 0)},
        {NewDefaultRotationController(), CTRL_ROTATION_CLASS_ID, Class_ID(EULER_CONTROL_CLASS_ID, 0)},
        {NewDefaultScaleController(), CTRL_SCALE_CLASS_ID, Class_ID(HYBRIDINTERP_SCALE_CLASS_ID, 0)},
        {NewDefaultMatrix3Controller(), CTRL_MATRIX3_CLASS_ID, Class_ID(PRS_CONTROL_CLASS_ID, 0)},
    };
    for (const Expect& e : expect) {
        holder.Hold(e.c);
        EXPECT_EQ(e.c->SuperClassID(), e.sc);
        EXPECT_EQ(e.c->ClassID(), e.id);
    }
    // A new transform is the identity, and its scale is 1.
    Control* prs = holder.Hold(NewDefaultMatrix3Controller());
    EXPECT_TRUE(LocalOf(prs, 0).IsIdentity());
    EXPECT_TRUE(Near3(ScaleAt(prs->GetScaleController(), 0).s, Point3(1.0f, 1.0f, 1.0f)));
}

TEST_F(Compound, EveryStandardControllerIsCreatableByScriptName) {
    const wchar_t* names[] = {
        L"bezier_float",        L"bezier_position", L"bezier_scale",    L"bezier_point3",
        L"tcb_float",           L"tcb_position",    L"tcb_rotation",    L"tcb_scale",
        L"linear_float",        L"linear_position", L"linear_rotation", L"linear_scale",
        L"Euler_XYZ",           L"Position_XYZ",    L"ScaleXYZ",        L"prs",
        L"Position_Constraint", L"float_list",      L"position_list",   L"rotation_list",
        L"scale_list"};
    for (const wchar_t* n : names) {
        ClassDesc* cd = host::ClassDirectory::Get().FindClassByScriptName(n);
        ASSERT_NE(cd, nullptr) << n;
        auto* c = static_cast<Control*>(CreateInstance(cd->SuperClassID(), cd->ClassID()));
        ASSERT_NE(c, nullptr) << n;
        holder.Hold(c);
        EXPECT_EQ(c->ClassID(), cd->ClassID());
        EXPECT_EQ(c->ClassName(false), MSTR(n));
    }
}

TEST_F(Compound, EulerXYZCombinesItsAnglesInItsOrder) {
    Control* e = holder.Hold(NewDefaultRotationController());
    IEulerControl* ie = GetEulerControlInterface(e);
    ASSERT_NE(ie, nullptr);
    float x = 0.3f, y = -0.7f, z = 1.1f;
    e->GetXController()->SetValue(0, &x);
    e->GetYController()->SetValue(0, &y);
    e->GetZController()->SetValue(0, &z);
    Matrix3 expect = RotateXMatrix(x) * RotateYMatrix(y) * RotateZMatrix(z);
    EXPECT_TRUE(SameRotation(QuatAt(e, 0), Quat(expect)));
    Matrix3 parent = TransMatrix(Point3(1.0f, 2.0f, 3.0f));
    Interval iv = FOREVER;
    e->GetValue(0, &parent, iv, CTRL_RELATIVE);
    EXPECT_TRUE(NearMatrix(parent, expect * TransMatrix(Point3(1.0f, 2.0f, 3.0f))));

    // The order changes the rotation, not the angles; ZXY applies Z, X, then Y.
    ie->SetOrder(EULERTYPE_ZXY);
    EXPECT_EQ(ie->GetOrder(), EULERTYPE_ZXY);
    EXPECT_TRUE(SameRotation(QuatAt(e, 0), Quat(RotateZMatrix(z) * RotateXMatrix(x) * RotateYMatrix(y))));
    ie->SetOrder(99);
    EXPECT_EQ(ie->GetOrder(), EULERTYPE_ZXY);

    // Any float controller replaces an axis; a missing one reads 0.
    Control* tcb = Make(CTRL_FLOAT_CLASS_ID, TCBINTERP_FLOAT_CLASS_ID);
    EXPECT_TRUE(e->AssignController(tcb, 1));
    EXPECT_EQ(e->GetYController(), tcb);
    EXPECT_FALSE(e->AssignController(Make(CTRL_POSITION_CLASS_ID, HYBRIDINTERP_POSITION_CLASS_ID), 0));
    e->ReplaceReference(2, nullptr);
    EXPECT_TRUE(SameRotation(QuatAt(e, 0), Quat(RotateZMatrix(0) * RotateXMatrix(x))));
}

// The evaluation takes shortcuts (closed-form XYZ product, fused pre-rotation); they must give
// the host's quaternion and matrix products to the bit, in every order and in both methods.
TEST_F(Compound, EulerXYZEvaluationMatchesTheProductsExactly) {
    Control* e = holder.Hold(NewDefaultRotationController());
    IEulerControl* ie = GetEulerControlInterface(e);
    ASSERT_NE(ie, nullptr);
    auto axisQuat = [](int axis, float a) {
        float s, c;
        ::sincosf(-0.5f * a, &s, &c);
        Quat q(0.0f, 0.0f, 0.0f, c);
        q[axis] = s;
        return q;
    };
    const float angles[] = {0.0f, 0.3f, -0.7f, 1.1f, 3.0f, -3.1415927f, 4.5f, -7.25f, 1e-6f, 12.0f};
    Matrix3 parent = RotateYMatrix(0.4f) * ScaleMatrix(Point3(1.0f, 2.0f, 0.5f)) * TransMatrix(Point3(1, -2, 3));
    int checked = 0;
    for (int order : {EULERTYPE_XYZ, EULERTYPE_ZXY}) {
        ie->SetOrder(order);
        const int axes[2][3] = {{0, 1, 2}, {2, 0, 1}};
        const int* ax = axes[order == EULERTYPE_XYZ ? 0 : 1];
        for (size_t i = 0; i < std::size(angles); ++i) {
            float v[3] = {angles[i], angles[(i + 3) % std::size(angles)], angles[(i + 7) % std::size(angles)]};
            e->GetXController()->SetValue(0, &v[0]);
            e->GetYController()->SetValue(0, &v[1]);
            e->GetZController()->SetValue(0, &v[2]);
            Quat expect = axisQuat(ax[0], v[ax[0]]) * axisQuat(ax[1], v[ax[1]]) * axisQuat(ax[2], v[ax[2]]);
            if (expect.w < 0.0f) expect = -expect;
            Quat got = QuatAt(e, 0);
            EXPECT_TRUE(got.x == expect.x && got.y == expect.y && got.z == expect.z && got.w == expect.w)
                << "order " << order << " angles " << v[0] << " " << v[1] << " " << v[2];
            Matrix3 want = parent, m = parent;
            PreRotateMatrix(want, expect);
            Interval iv = FOREVER;
            e->GetValue(0, &m, iv, CTRL_RELATIVE);
            for (int r = 0; r < 4; ++r)
                EXPECT_TRUE(m[r] == want[r]) << "order " << order << " row " << r << " case " << i;
            ++checked;
        }
    }
    EXPECT_EQ(checked, 20);
}

TEST_F(Compound, EulerXYZKeysItsAxesContinuously) {
    Control* e = holder.Hold(NewDefaultRotationController());
    AnimateOn();
    for (int i = 0; i <= 8; ++i) {
        Quat q = Quat(AngAxis(Point3::ZAxis, -0.5f * float(i))); // a turn and more about Z
        e->SetValue(i * 100, &q);
    }
    AnimateOff();
    EXPECT_EQ(e->GetZController()->NumKeys(), 9);
    EXPECT_EQ(e->GetXController()->NumKeys(), 9);
    EXPECT_EQ(e->NumKeys(), 9);
    EXPECT_TRUE(e->IsKeyAtTime(400, 0));
    // No 2 pi jump: the Z angle grows steadily past a half turn (right-handed: +0.5 per key).
    EXPECT_NEAR(FloatAt(e->GetZController(), 800), 4.0f, 1e-4f);
    EXPECT_TRUE(SameRotation(QuatAt(e, 800), Quat(AngAxis(Point3::ZAxis, -4.0f))));

    // Relative sets turn first: the result is delta * old.
    Quat old = QuatAt(e, 800);
    AngAxis d(Point3::XAxis, 0.25f);
    e->SetValue(800, &d, 1, CTRL_RELATIVE);
    EXPECT_TRUE(SameRotation(QuatAt(e, 800), Quat(d) * old, 1e-4f));

    theHold.Begin();
    GetEulerControlInterface(e)->SetOrder(EULERTYPE_YZX);
    e->DeleteKeys(TRACK_DOALL);
    theHold.Accept(L"Edit");
    EXPECT_EQ(e->NumKeys(), 0);
    theHold.Undo();
    EXPECT_EQ(e->NumKeys(), 9);
    EXPECT_EQ(GetEulerControlInterface(e)->GetOrder(), EULERTYPE_XYZ);
}

TEST_F(Compound, XYZPositionAndScaleKeyTheirFloats) {
    Control* p = holder.Hold(Make(CTRL_POSITION_CLASS_ID, IPOS_CONTROL_CLASS_ID));
    Control* s = holder.Hold(Make(CTRL_SCALE_CLASS_ID, ISCALE_CONTROL_CLASS_ID), 1);
    EXPECT_TRUE(Near3(ScaleAt(s, 0).s, Point3(1.0f, 1.0f, 1.0f)));
    AnimateOn();
    Point3 a(1, 2, 3), b(4, 5, 6);
    p->SetValue(0, &a);
    p->SetValue(100, &b);
    ScaleValue sv(Point3(2.0f, 3.0f, 4.0f));
    s->SetValue(100, &sv);
    AnimateOff();
    EXPECT_EQ(p->GetYController()->NumKeys(), 2);
    EXPECT_TRUE(Near3(Point3At(p, 100), b));
    EXPECT_TRUE(Near3(ScaleAt(s, 100).s, Point3(2.0f, 3.0f, 4.0f)));
    Matrix3 m;
    Interval iv = FOREVER;
    p->GetValue(100, &m, iv, CTRL_RELATIVE);
    EXPECT_TRUE(Near3(m.GetTrans(), b));

    Point3 d(1, 0, -1);
    p->SetValue(100, &d, 1, CTRL_RELATIVE);
    EXPECT_TRUE(Near3(Point3At(p, 100), Point3(5.0f, 5.0f, 5.0f)));
    ScaleValue half(Point3(0.5f, 0.5f, 0.5f));
    s->SetValue(100, &half, 1, CTRL_RELATIVE);
    EXPECT_TRUE(Near3(ScaleAt(s, 100).s, Point3(1.0f, 1.5f, 2.0f)));
}

TEST_F(Compound, PRSRotatePacketWithIdentityFramesIsDeltaTimesOld) {
    Control* prs = holder.Hold(NewDefaultMatrix3Controller());
    Quat old = Quat(AngAxis(Point3(1.0f, 1.0f, 0.0f).Normalize(), 0.8f));
    prs->GetRotationController()->SetValue(0, &old);
    const Quat delta = Quat(AngAxis(Point3(0.0f, 0.6f, 0.8f), 0.5f));
    SetXFormPacket pk(delta, TRUE, Matrix3(), Matrix3());
    prs->SetValue(0, &pk, 1, CTRL_RELATIVE);
    EXPECT_TRUE(SameRotation(QuatAt(prs->GetRotationController(), 0), delta * old, 1e-4f));

    // So a joint reaches a wanted rotation q with the change q * Inverse(current).
    const Quat wanted = Quat(AngAxis(Point3::YAxis, -1.2f));
    const Quat cur = QuatAt(prs->GetRotationController(), 0);
    SetXFormPacket to(wanted * Inverse(cur), TRUE, Matrix3(), Matrix3());
    prs->SetValue(0, &to, 1, CTRL_RELATIVE);
    EXPECT_TRUE(SameRotation(QuatAt(prs->GetRotationController(), 0), wanted, 1e-4f));
}

TEST_F(Compound, PRSPacketsInARotatedAndScaledParent) {
    Control* prs = holder.Hold(NewDefaultMatrix3Controller());
    // Parent: scaled (2, 1, 0.5), turned 90 degrees about Z, moved.
    const Matrix3 parent = ScaleMatrix(Point3(2.0f, 1.0f, 0.5f)) * RotateZMatrix(HALFPI) *
                           TransMatrix(Point3(10.0f, 0.0f, 0.0f));
    auto world = [&] {
        Matrix3 m = parent;
        Interval iv = FOREVER;
        prs->GetValue(0, &m, iv, CTRL_RELATIVE);
        return m;
    };

    // Move 3 along world X: the node's world position moves by exactly that.
    const Point3 before = world().GetTrans();
    SetXFormPacket move(Point3(3.0f, 0.0f, 0.0f), parent, Matrix3());
    prs->SetValue(0, &move);
    EXPECT_TRUE(Near3(world().GetTrans(), before + Point3(3.0f, 0.0f, 0.0f)));
    // Move 1 along the parent's own X: in local terms exactly (1, 0, 0) more.
    const Point3 local0 = Point3At(prs->GetPositionController(), 0);
    SetXFormPacket moveLocal(Point3(1.0f, 0.0f, 0.0f), parent, parent);
    prs->SetValue(0, &moveLocal);
    EXPECT_TRUE(Near3(Point3At(prs->GetPositionController(), 0), local0 + Point3(1.0f, 0.0f, 0.0f)));

    // Rotate about the parent's Z axis, in the parent's frame: the local rotation turns about Z.
    SetXFormPacket rot(AngAxis(Point3::ZAxis, 0.4f), TRUE, parent, parent);
    prs->SetValue(0, &rot);
    EXPECT_TRUE(
        SameRotation(QuatAt(prs->GetRotationController(), 0), Quat(AngAxis(Point3::ZAxis, 0.4f)), 1e-4f));
    // About world Z, whose direction in the parent's frame is Z again (the parent turns about Z).
    SetXFormPacket rotW(AngAxis(Point3::ZAxis, 0.2f), TRUE, parent, Matrix3());
    prs->SetValue(0, &rotW);
    EXPECT_TRUE(
        SameRotation(QuatAt(prs->GetRotationController(), 0), Quat(AngAxis(Point3::ZAxis, 0.6f)), 1e-4f));
    // About world X: in the parent (turned 90 degrees about Z, stretched) that is -Y.
    Quat r0 = QuatAt(prs->GetRotationController(), 0);
    SetXFormPacket rotX(AngAxis(Point3::XAxis, 0.3f), TRUE, parent, Matrix3());
    prs->SetValue(0, &rotX);
    EXPECT_TRUE(SameRotation(QuatAt(prs->GetRotationController(), 0),
                             Quat(AngAxis(-Point3::YAxis, 0.3f)) * r0, 1e-4f));

    // Scale by 2 along the node's own axes: the stretch doubles, the pivot stays.
    const Matrix3 w0 = world();
    SetXFormPacket sc(Point3(2.0f, 2.0f, 2.0f), TRUE, parent, w0);
    prs->SetValue(0, &sc);
    EXPECT_TRUE(Near3(ScaleAt(prs->GetScaleController(), 0).s, Point3(2.0f, 2.0f, 2.0f)));
    EXPECT_TRUE(Near3(world().GetTrans(), w0.GetTrans()));
    // Without localOrigin the pivot scales away from the axis origin.
    Matrix3 origin;
    SetXFormPacket scW(Point3(0.5f, 0.5f, 0.5f), FALSE, parent, origin);
    prs->SetValue(0, &scW);
    EXPECT_TRUE(Near3(world().GetTrans(), w0.GetTrans() * 0.5f, 1e-3f));

    // XFORM_SET lands the node on the wanted world matrix, mirror and all.
    const Matrix3 want = ScaleMatrix(Point3(1.0f, -2.0f, 3.0f)) * RotateYMatrix(0.7f) * RotateXMatrix(-0.2f) *
                         TransMatrix(Point3(4.0f, 5.0f, 6.0f));
    SetXFormPacket set(want, parent);
    prs->SetValue(0, &set);
    EXPECT_TRUE(NearMatrix(world(), want, 1e-3f));
    // A degenerate target (a flattened axis) gives finite numbers.
    SetXFormPacket flat(ScaleMatrix(Point3(1.0f, 0.0f, 1.0f)), parent);
    prs->SetValue(0, &flat);
    const Matrix3 w = world();
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(std::isfinite(w[i].x + w[i].y + w[i].z));
}

TEST_F(Compound, PRSUnderAnimateKeysItsSubControllersAndUndoes) {
    Control* prs = holder.Hold(NewDefaultMatrix3Controller());
    theHold.Begin();
    AnimateOn();
    SetXFormPacket set(RotateXMatrix(0.5f) * TransMatrix(Point3(1.0f, 2.0f, 3.0f)), Matrix3());
    prs->SetValue(100, &set);
    AnimateOff();
    theHold.Accept(L"Set TM");
    EXPECT_TRUE(prs->GetPositionController()->IsKeyAtTime(100, 0));
    EXPECT_TRUE(prs->GetRotationController()->IsKeyAtTime(100, 0));
    EXPECT_TRUE(prs->IsKeyAtTime(100, 0));
    prs->GetScaleController()->DeleteKeys(TRACK_DOALL);
    EXPECT_TRUE(prs->IsKeyAtTime(100, KEYAT_ROTATION));
    EXPECT_FALSE(prs->IsKeyAtTime(100, KEYAT_SCALE));
    Tab<TimeValue> scaleKeys;
    EXPECT_EQ(prs->GetKeyTimes(scaleKeys, FOREVER, KEYAT_SCALE), 0);
    EXPECT_TRUE(NearMatrix(LocalOf(prs, 100), RotateXMatrix(0.5f) * TransMatrix(Point3(1.0f, 2.0f, 3.0f))));
    theHold.Undo();
    EXPECT_FALSE(prs->IsKeyAtTime(100, 0));
    EXPECT_TRUE(LocalOf(prs, 100).IsIdentity());
    theHold.Redo();
    EXPECT_TRUE(prs->IsKeyAtTime(100, 0));

    // Sub-controllers are replaceable through the PRS.
    Control* tcb = Make(CTRL_ROTATION_CLASS_ID, TCBINTERP_ROTATION_CLASS_ID);
    EXPECT_TRUE(prs->SetRotationController(tcb));
    EXPECT_EQ(prs->GetRotationController(), tcb);
    EXPECT_FALSE(prs->SetPositionController(Make(CTRL_FLOAT_CLASS_ID, HYBRIDINTERP_FLOAT_CLASS_ID)));
}

TEST_F(Compound, ListsAddWeightedEntriesAndSetThroughTheActiveOne) {
    Control* list = holder.Hold(Make(CTRL_FLOAT_CLASS_ID, FLOATLIST_CONTROL_CLASS_ID));
    IListControl* il = GetIListControlInterface(list);
    ASSERT_NE(il, nullptr);
    EXPECT_EQ(list->NumSubs(), 1);
    EXPECT_EQ(list->SubAnimName(0), MSTR(L"Available"));
    Control* a = NewDefaultFloatController();
    Control* b = NewDefaultFloatController();
    float va = 2.0f, vb = 10.0f;
    a->SetValue(0, &va);
    b->SetValue(0, &vb);
    ASSERT_TRUE(list->AssignController(a, 0));
    ASSERT_TRUE(list->AssignController(b, 1));
    EXPECT_EQ(il->GetListCount(), 2);
    il->SetSubCtrlWeight(1, 0, 0.5f);
    EXPECT_FLOAT_EQ(FloatAt(list, 0), 7.0f);

    il->SetActive(1);
    float want = 9.0f; // b must give 7 at weight 0.5: b = 14
    list->SetValue(0, &want);
    EXPECT_FLOAT_EQ(FloatAt(b, 0), 14.0f);
    EXPECT_FLOAT_EQ(FloatAt(list, 0), 9.0f);

    theHold.Begin();
    il->CutItem(0);
    theHold.Accept(L"Cut");
    EXPECT_EQ(il->GetListCount(), 1);
    EXPECT_FLOAT_EQ(FloatAt(list, 0), 7.0f);
    il->PasteItem(1);
    EXPECT_EQ(il->GetSubCtrl(1), a);
    EXPECT_FLOAT_EQ(FloatAt(list, 0), 9.0f);
    il->DeleteItem(1);
    // Undo of the cut puts a back in front, alive: the undo record kept it.
    theHold.Undo();
    EXPECT_EQ(il->GetSubCtrl(0), a);
    EXPECT_FLOAT_EQ(FloatAt(a, 0), 2.0f);
    il->DeleteItem(42);

    // Rotation lists: entry 0 turns last.
    Holder h(1);
    Control* rl = h.Hold(Make(CTRL_ROTATION_CLASS_ID, ROTLIST_CONTROL_CLASS_ID));
    Control* r0 = NewDefaultRotationController();
    Control* r1 = NewDefaultRotationController();
    Quat q0 = Quat(AngAxis(Point3::XAxis, 0.5f)), q1 = Quat(AngAxis(Point3::ZAxis, 0.9f));
    r0->SetValue(0, &q0);
    r1->SetValue(0, &q1);
    rl->AssignController(r0, 0);
    rl->AssignController(r1, 1);
    EXPECT_TRUE(SameRotation(QuatAt(rl, 0), q1 * q0));
    Matrix3 m;
    Interval iv = FOREVER;
    rl->GetValue(0, &m, iv, CTRL_RELATIVE);
    EXPECT_TRUE(SameRotation(Quat(m), q1 * q0));
    Quat target = Quat(AngAxis(Point3::YAxis, 0.3f));
    GetIListControlInterface(rl)->SetActive(0);
    rl->SetValue(0, &target);
    EXPECT_TRUE(SameRotation(QuatAt(rl, 0), target, 1e-4f));
}

TEST_F(Compound, CloneControlCopiesKeysAndSubControllers) {
    Control* prs = holder.Hold(NewDefaultMatrix3Controller());
    AnimateOn();
    SetXFormPacket set(RotateYMatrix(0.4f) * TransMatrix(Point3(1.0f, 0.0f, 0.0f)), Matrix3());
    prs->SetValue(100, &set);
    AnimateOff();
    Control* copy = holder.Hold(CloneControl(prs), 1);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy->GetRotationController(), prs->GetRotationController());
    EXPECT_TRUE(NearMatrix(LocalOf(copy, 100), LocalOf(prs, 100)));
    EXPECT_TRUE(NearMatrix(LocalOf(copy, 50), LocalOf(prs, 50)));
    // Independent afterwards.
    prs->GetPositionController()->DeleteKeys(TRACK_DOALL);
    EXPECT_EQ(copy->GetPositionController()->NumKeys(), 1);
    EXPECT_EQ(CloneControl(nullptr), nullptr);
}

} // namespace
