// Whole scenes of the host's own classes: keyed transforms, parameter blocks, a constraint that
// refers across the hierarchy, shared controllers. What is reloaded must evaluate the same.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "file_test_classes.h"
#include "helpers.h"
#include "iparamb2.h"
#include "maxapi.h"
#include "stdctrl.h"

using namespace filetest;

namespace {

Interface* ip() { return GetCOREInterface(); }

INode* NamedNode(Object* obj, const MCHAR* name, INode* parent = nullptr) {
    INode* n = ip()->CreateObjectNode(obj, name);
    n->SetName(name);
    if (parent) parent->AttachChild(n, 0);
    return n;
}

Matrix3 Pose(float x, float y, float z, float angle, float scale) {
    Matrix3 m = ScaleMatrix(Point3(scale, scale, 1.0f));
    m.RotateZ(angle);
    m.Translate(Point3(x, y, z));
    return m;
}

// Hips > Spine > Head keyed at three frames; Hips and Spine show one point helper whose size is
// keyed; Target moves; Follower's position is constrained to Target and Head; Twin shares
// Spine's rotation controller; Bone carries a bone object with its own parameters.
void BuildAnimatedRig() {
    SetFrameRate(30);
    ip()->SetAnimRange(Interval(0, 3200));
    auto* point = static_cast<PointHelpObject*>(CreateInstance(HELPER_CLASS_ID, POINTHELP_CLASS_ID));
    ASSERT_NE(point, nullptr);
    INode* hips = NamedNode(point, L"Hips");
    INode* spine = NamedNode(point, L"Spine", hips);
    INode* head = NamedNode(nullptr, L"Head", spine);
    INode* target = NamedNode(nullptr, L"Target");
    INode* follower = NamedNode(nullptr, L"Follower");
    INode* twin = NamedNode(nullptr, L"Twin");
    auto* bone = static_cast<Object*>(CreateInstance(GEOMOBJECT_CLASS_ID, BONE_OBJ_CLASSID));
    ASSERT_NE(bone, nullptr);
    INode* boneNode = NamedNode(bone, L"Bone", head);
    bone->GetParamBlock(0)->SetValue(boneobj_length, 0, 42.0f);
    bone->GetParamBlock(0)->SetValue(boneobj_sidefins, 0, 1);

    AnimateOn();
    for (int k = 0; k < 3; ++k) {
        TimeValue t = k * 960;
        float f = static_cast<float>(k);
        hips->SetNodeTM(t, Pose(10.0f * f, 0.0f, 5.0f, 0.3f * f, 1.0f + 0.1f * f));
        spine->SetNodeTM(t, Pose(10.0f * f, 8.0f, 5.0f + f, -0.2f * f, 1.0f));
        head->SetNodeTM(t, Pose(10.0f * f + 1.0f, 12.0f, 6.0f, 0.5f * f, 1.0f));
        target->SetNodeTM(t, Pose(-20.0f + 15.0f * f * f, 3.0f, 0.0f, 0.0f, 1.0f));
        point->GetParamBlock(0)->SetValue(pointobj_size, t, 20.0f + 7.5f * f);
    }
    AnimateOff();

    auto* constraint = static_cast<Control*>(
        CreateInstance(CTRL_POSITION_CLASS_ID, Class_ID(POSITION_CONSTRAINT_CLASS_ID, 0)));
    ASSERT_NE(constraint, nullptr);
    ASSERT_TRUE(follower->GetTMController()->SetPositionController(constraint));
    IPosConstraint* pc = GetPosConstraintInterface(constraint);
    ASSERT_NE(pc, nullptr);
    ASSERT_TRUE(pc->AppendTarget(target, 50.0f));
    ASSERT_TRUE(pc->AppendTarget(head, 25.0f));
    ASSERT_TRUE(twin->GetTMController()->SetRotationController(spine->GetTMController()->GetRotationController()));
    ip()->SetTime(480);
    (void)boneNode;
}

// Every node's world transform and every parameter that the rig animates, as exact bits.
std::vector<uint32_t> Evaluate() {
    std::vector<uint32_t> bits;
    auto put = [&](float v) {
        uint32_t b;
        std::memcpy(&b, &v, 4);
        bits.push_back(b);
    };
    for (const MCHAR* name : {L"Hips", L"Spine", L"Head", L"Target", L"Follower", L"Twin", L"Bone"}) {
        INode* n = ip()->GetINodeByName(name);
        EXPECT_NE(n, nullptr) << host::ToUtf8(name);
        if (!n) continue;
        for (TimeValue t = -300; t <= 2400; t += 113) {
            Interval valid = FOREVER;
            Matrix3 m = n->GetNodeTM(t, &valid);
            for (int r = 0; r < 4; ++r)
                for (int c = 0; c < 3; ++c) put(m.GetRow(r)[c]);
            bits.push_back(static_cast<uint32_t>(valid.Start()));
            bits.push_back(static_cast<uint32_t>(valid.End()));
        }
        if (Object* obj = n->GetObjectRef())
            if (IParamBlock2* pb = obj->GetParamBlock(0))
                for (TimeValue t = 0; t <= 1920; t += 240) put(pb->GetFloat(0, t));
    }
    return bits;
}

std::filesystem::path SampleDir() { return std::filesystem::path(KT_TEST_DATA_DIR) / "data"; }

class SceneEvaluation : public ::testing::Test {
protected:
    void SetUp() override {
        RegisterClasses();
        host::ResetScene();
    }
    void TearDown() override { host::ResetScene(); }
};

}  // namespace

TEST_F(SceneEvaluation, AReloadedRigEvaluatesBitForBit) {
    BuildAnimatedRig();
    // A tag on a controller: custom attributes of any animatable travel with it.
    Control* followerTM = ip()->GetINodeByName(L"Follower")->GetTMController();
    followerTM->AllocCustAttribContainer();
    auto* tag = new Tag;
    tag->number = 5;
    followerTM->GetCustAttribContainer()->AppendCustAttrib(tag);
    const std::vector<uint32_t> before = Evaluate();
    ASSERT_GT(before.size(), 500u);
    std::vector<uint8_t> bytes;
    std::wstring err;
    ASSERT_TRUE(host::SaveSceneToMemory(bytes, &err)) << Narrow(err);

    host::ResetScene();
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &err)) << Narrow(err);
    EXPECT_EQ(Evaluate(), before);
    EXPECT_EQ(ip()->GetTime(), 480);

    INode* spine = ip()->GetINodeByName(L"Spine");
    INode* twin = ip()->GetINodeByName(L"Twin");
    INode* head = ip()->GetINodeByName(L"Head");
    INode* follower = ip()->GetINodeByName(L"Follower");
    ASSERT_TRUE(spine && twin && head && follower);
    EXPECT_EQ(twin->GetTMController()->GetRotationController(), spine->GetTMController()->GetRotationController())
        << "a controller two makers refer to stays one controller";
    EXPECT_EQ(spine->GetObjectRef(), ip()->GetINodeByName(L"Hips")->GetObjectRef());
    IPosConstraint* pc = GetPosConstraintInterface(follower->GetTMController()->GetPositionController());
    ASSERT_NE(pc, nullptr);
    ASSERT_EQ(pc->GetNumTargets(), 2);
    EXPECT_EQ(pc->GetNode(1), head) << "the constraint's target is the loaded node, not a copy";
    EXPECT_EQ(pc->GetTargetWeight(1), 25.0f);
    ICustAttribContainer* cc = follower->GetTMController()->GetCustAttribContainer();
    ASSERT_TRUE(cc && cc->GetNumCustAttribs() == 1);
    EXPECT_EQ(dynamic_cast<Tag*>(cc->GetCustAttrib(0))->number, 5);

    // The reloaded rig is live: moving the head moves the follower, which the constraint sees.
    Matrix3 before0 = follower->GetNodeTM(0);
    head->SetNodeTM(0, Pose(100.0f, 0.0f, 0.0f, 0.0f, 1.0f));
    EXPECT_FALSE(follower->GetNodeTM(0).Equals(before0));
}

// The checked-in samples still load and still hold the rig the builder makes. With
// KT_WRITE_SAMPLES=1 they are written first (see docs/file-formats.md).
TEST_F(SceneEvaluation, CheckedInSamplesLoadAndHoldTheRig) {
    const std::filesystem::path rig = SampleDir() / "animated_rig.kts";
    const std::filesystem::path empty = SampleDir() / "empty.kts";
    const char* write = std::getenv("KT_WRITE_SAMPLES");
    if (write && std::string(write) == "1") {
        std::wstring err;
        ASSERT_TRUE(host::SaveScene(empty.wstring().c_str(), &err)) << Narrow(err);
        BuildAnimatedRig();
        ASSERT_TRUE(host::SaveScene(rig.wstring().c_str(), &err)) << Narrow(err);
        host::ResetScene();
    }
    BuildAnimatedRig();
    const std::vector<uint32_t> expected = Evaluate();
    host::ResetScene();

    std::wstring err;
    ASSERT_TRUE(host::LoadScene(rig.wstring().c_str(), &err)) << Narrow(err);
    EXPECT_EQ(Evaluate(), expected);
    EXPECT_LT(std::filesystem::file_size(rig), 16u * 1024u) << "samples stay small";

    ASSERT_TRUE(host::LoadScene(empty.wstring().c_str(), &err)) << Narrow(err);
    EXPECT_EQ(ip()->GetRootNode()->NumberOfChildren(), 0);
}
