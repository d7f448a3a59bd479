// A limb in a scene: a parent node carrying a chosen transform, a hierarchy of joints with
// keyable PRS controllers (bones along X, bends about Z), a goal and a target under the same
// parent, and an IKFK chain on its own node fitted onto them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "controllers/static_controllers.h"
#include "hold.h"
#include "inode.h"
#include "maxapi.h"
#include "plain_chain.h"
#include "solvers/ikfk_chain.h"
#include "solvers/ikfk_control.h"

namespace kttest {

struct ChainScene {
    INode* parent = nullptr;
    std::vector<INode*> joints;
    INode* goal = nullptr;
    INode* target = nullptr;
    INode* chainNode = nullptr;
    kt::IKFKChain* chain = nullptr;

    static INode* MakeNode(const wchar_t* name, INode* under, const Quat& rot, const Point3& pos) {
        INode* n = GetCOREInterface()->CreateObjectNode(nullptr, name);
        n->SetTMController(NewDefaultMatrix3Controller());
        if (under) under->AttachChild(n, 0);
        Control* c = n->GetTMController();
        Quat q = rot;
        Point3 p = pos;
        c->GetRotationController()->SetValue(0, &q, 1, CTRL_ABSOLUTE);
        c->GetPositionController()->SetValue(0, &p, 1, CTRL_ABSOLUTE);
        return n;
    }

    // The joints of MakeChain(n): same offsets, FK rotations and preferred rotations.
    static ChainScene Make(int n, const Matrix3& parentTM, bool withTarget, bool moreBent = false) {
        ChainScene s;
        PlainChain plain = MakeChain(n, moreBent);
        s.parent = GetCOREInterface()->CreateObjectNode(nullptr, L"Parent");
        auto* st = new kt::StaticTransform();
        st->value = parentTM;
        s.parent->SetTMController(st);
        INode* up = s.parent;
        for (int i = 0; i < n; ++i) {
            std::wstring name = L"Joint" + std::to_wstring(i);
            INode* j = MakeNode(name.c_str(), up, plain.rot[size_t(i)], plain.pos[size_t(i)]);
            s.joints.push_back(j);
            up = j;
        }
        s.goal = MakeNode(L"Goal", s.parent, Quat(), Point3(15.0f, 5.0f, 0.0f));
        if (withTarget) s.target = MakeNode(L"Target", s.parent, Quat(), Point3(5.0f, 15.0f, 0.0f));
        s.chainNode = GetCOREInterface()->CreateObjectNode(nullptr, L"IKFK");
        s.chain = new kt::IKFKChain();
        s.chainNode->SetTMController(s.chain);
        IParamBlock2* pb = s.chain->pblock;
        for (INode* j : s.joints) pb->Append(kt::IKFKChain::pb_joints, 1, &j);
        pb->SetValue(kt::IKFKChain::pb_goal, 0, s.goal);
        if (s.target) pb->SetValue(kt::IKFKChain::pb_target, 0, s.target);
        pb->SetValue(kt::IKFKChain::pb_ikfk_blend, 0, 0.0f);
        s.chain->FitNodes(s.chainNode);
        // Preferred rotations as the plain chain has them.
        for (int i = 0; i < n; ++i) {
            Quat q = plain.src.pref[size_t(i)];
            s.chain->GetIKRotController(i)->SetValue(0, &q, 1, CTRL_ABSOLUTE);
        }
        return s;
    }

    std::vector<Matrix3> Pose(TimeValue t = 0) const {
        std::vector<Matrix3> out;
        for (INode* j : joints) out.push_back(j->GetNodeTM(t));
        return out;
    }
    float Blend(TimeValue t = 0) const { return chain->pblock->GetFloat(kt::IKFKChain::pb_ikfk_blend, t); }
    float Length(TimeValue t = 0) const {
        float l = 0;
        std::vector<Matrix3> p = Pose(t);
        for (size_t i = 1; i < p.size(); ++i) l += (p[i].GetTrans() - p[i - 1].GetTrans()).Length();
        return l;
    }
    float MaxBone() const {
        float l = 0;
        std::vector<Matrix3> p = Pose();
        for (size_t i = 1; i < p.size(); ++i) l = std::max(l, (p[i].GetTrans() - p[i - 1].GetTrans()).Length());
        return l;
    }
};

// Resets the scene around each test.
class ChainSceneTest : public ::testing::Test {
protected:
    void SetUp() override { host::ResetScene(); }
    void TearDown() override { host::ResetScene(); }
};

}  // namespace kttest
