#include "solvers/ikfk_demo.h"

#include <string>
#include <vector>

#include "helpers.h"
#include "inode.h"
#include "iparamb2.h"
#include "iplugin.h"
#include "maxapi.h"
#include "solvers/ikfk_chain.h"
#include "solvers/ikfk_math.h"

namespace kt {
namespace {

// A bone of `length` along X, or a box-shaped point helper when length is 0, so that the arm
// shows in a render.
Object* MakeLook(float length) {
    const Class_ID id = length > 0.0f ? BONE_OBJ_CLASSID : POINTHELP_CLASS_ID;
    const SClass_ID sc = length > 0.0f ? GEOMOBJECT_CLASS_ID : HELPER_CLASS_ID;
    auto* obj = static_cast<Object*>(CreateInstance(sc, id));
    IParamBlock2* pb = obj ? obj->GetParamBlock(0) : nullptr;
    if (pb && length > 0.0f) {
        pb->SetValue(boneobj_length, 0, length);
        pb->SetValue(boneobj_width, 0, 4.0f);
        pb->SetValue(boneobj_height, 0, 4.0f);
    } else if (pb) {
        pb->SetValue(pointobj_size, 0, 10.0f);
        pb->SetValue(pointobj_box, 0, 1);
    }
    return obj;
}

INode* MakeNode(const wchar_t* name, INode* parent, const Quat& rot, const Point3& pos, float length = 0.0f) {
    INode* n = GetCOREInterface()->CreateObjectNode(MakeLook(length), name);
    n->SetTMController(NewDefaultMatrix3Controller());
    if (parent) parent->AttachChild(n, 0);
    Control* c = n->GetTMController();
    Quat q = rot;
    Point3 p = pos;
    c->GetRotationController()->SetValue(0, &q, 1, CTRL_ABSOLUTE);
    c->GetPositionController()->SetValue(0, &p, 1, CTRL_ABSOLUTE);
    return n;
}

std::vector<Point3> Positions(const std::vector<INode*>& joints) {
    std::vector<Point3> out;
    for (INode* j : joints) out.push_back(j->GetNodeTM(GetCOREInterface()->GetTime()).GetTrans());
    return out;
}

float Largest(const std::vector<Point3>& a, const std::vector<Point3>& b) {
    float d = 0.0f;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) d = std::max(d, (a[i] - b[i]).Length());
    return d;
}

void Print(std::FILE* out, const char* title, float blend, const std::vector<Point3>& p) {
    std::fprintf(out, "%s (ikfk_blend %.0f%%)\n", title, static_cast<double>(blend * 100.0f));
    const char* names[] = {"shoulder", "elbow", "wrist"};
    for (size_t i = 0; i < p.size(); ++i)
        std::fprintf(out, "  %-8s (%8.3f %8.3f %8.3f)\n", names[i], static_cast<double>(p[i].x),
                     static_cast<double>(p[i].y), static_cast<double>(p[i].z));
}

class LimbDemo : public IIKFKDemo {
public:
    bool RunLimbDemo(std::FILE* out) override {
        constexpr float kTol = 1e-3f;
        INode* clavicle = MakeNode(L"Clavicle", nullptr, Quat(RotateYMatrix(0.3f)), Point3(0.0f, 0.0f, 140.0f), 15.0f);
        std::vector<INode*> joints;
        joints.push_back(MakeNode(L"Shoulder", clavicle, Quat(RotateZMatrix(-0.6f)), Point3(15.0f, 0.0f, 0.0f), 28.0f));
        joints.push_back(MakeNode(L"Elbow", joints[0], Quat(RotateZMatrix(0.9f)), Point3(28.0f, 0.0f, 0.0f), 25.0f));
        joints.push_back(MakeNode(L"Wrist", joints[1], Quat(RotateXMatrix(0.2f)), Point3(25.0f, 0.0f, 0.0f), 8.0f));
        INode* goal = MakeNode(L"HandGoal", nullptr, Quat(), Point3(60.0f, -20.0f, 120.0f));
        INode* chainNode = GetCOREInterface()->CreateObjectNode(nullptr, L"ArmIKFK");
        auto* chain = new IKFKChain();
        chainNode->SetTMController(chain);
        IParamBlock2* pb = chain->pblock;
        for (INode* j : joints) pb->Append(IKFKChain::pb_joints, 1, &j);
        pb->SetValue(IKFKChain::pb_goal, 0, goal);
        pb->SetValue(IKFKChain::pb_ikfk_blend, 0, 0.0f);
        chain->FitNodes(chainNode);

        const TimeValue t = GetCOREInterface()->GetTime();
        auto blend = [&] { return pb->GetFloat(IKFKChain::pb_ikfk_blend, t); };
        const std::vector<Point3> fk = Positions(joints);
        Print(out, "FK pose", blend(), fk);

        chain->IK();
        const std::vector<Point3> ik = Positions(joints);
        Print(out, "IK() takes the FK pose", blend(), ik);
        const float popIn = Largest(fk, ik);
        std::fprintf(out, "  largest move at the switch: %g\n", static_cast<double>(popIn));

        SetXFormPacket move(Point3(-12.0f, 18.0f, 10.0f), Matrix3(), Matrix3());
        goal->GetTMController()->SetValue(t, &move, 1, CTRL_RELATIVE);
        const std::vector<Point3> moved = Positions(joints);
        Print(out, "Goal moved: the arm follows in IK", blend(), moved);
        const float follow = (moved[2] - goal->GetNodeTM(t).GetTrans()).Length();
        std::fprintf(out, "  wrist to goal: %g\n", static_cast<double>(follow));

        chain->FK();
        const std::vector<Point3> back = Positions(joints);
        Print(out, "FK() takes the IK pose", blend(), back);
        const float popOut = Largest(moved, back);
        std::fprintf(out, "  largest move at the switch: %g\n", static_cast<double>(popOut));

        const bool ok = popIn < kTol && popOut < kTol && follow < kTol && Largest(fk, moved) > 1.0f;
        std::fprintf(out, "Limb: %s\n", ok ? "FK -> IK -> FK without a pop" : "the limb moved at a switch");
        return ok;
    }
};

LimbDemo gDemo;

}  // namespace

void* IKFKChain::GetInterface(ULONG id) {
    if (id == I_IKFKDEMO) return static_cast<IIKFKDemo*>(&gDemo);
    return Control::GetInterface(id);
}

}  // namespace kt
