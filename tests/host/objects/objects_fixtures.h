// Pieces shared by the object tests: a fixture with an empty scene and a leak check, an
// animated Point3 controller, a modifier that logs what the stack hands it, and mesh makers.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "control.h"
#include "helpers.h"
#include "hold.h"
#include "inode.h"
#include "iparamb2.h"
#include "maxapi.h"
#include "modifier.h"
#include "polyobj.h"
#include "simpobj.h"
#include "triobj.h"

namespace objtest {

class ObjectsTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::ResetScene();
        theHold.Reset();
        live_ = Animatable::LiveCount();
    }
    void TearDown() override {
        theHold.Reset();
        host::ResetScene();
        EXPECT_EQ(Animatable::LiveCount(), live_) << "objects left alive after the scene was reset";
    }
    Interface* ip() { return GetCOREInterface(); }
    template <class T = Object>
    static T* Make(SClass_ID sc, Class_ID cid) {
        return dynamic_cast<T*>(static_cast<Animatable*>(CreateInstance(sc, cid)));
    }
    static Modifier* MakeOffset(const Point3& offset, float scale = 1.0f) {
        auto* m = Make<Modifier>(OSM_CLASS_ID, OFFSETMOD_CLASS_ID);
        m->GetParamBlock(0)->SetValue(offsetmod_offset, 0, offset);
        m->GetParamBlock(0)->SetValue(offsetmod_scale, 0, scale);
        return m;
    }

private:
    long live_ = 0;
};

// A Point3 that moves by `velocity` per tick: valid only at the instant asked.
class MovingPoint3 : public Control {
public:
    Point3 velocity{1, 0, 0};
    SClass_ID SuperClassID() override { return CTRL_POINT3_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x6F1B0001, 0x1); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod) override {
        *static_cast<Point3*>(val) = velocity * static_cast<float>(t);
        valid &= Interval(t, t);
    }
    void SetValue(TimeValue, void*, int, GetSetMethod) override {}
};

// Adds `step` to every point's x and logs its calls in `log` (shared by several instances).
class LogMod : public Modifier {
public:
    LogMod(std::string n, std::vector<std::string>* l, float s = 0.0f) : name(std::move(n)), log(l), step(s) {}
    Class_ID ClassID() override { return Class_ID(0x6F1B0001, 0x2); }
    ChannelMask ChannelsChanged() override { return changes; }
    Interval LocalValidity(TimeValue t) override { return timeDependent ? Interval(t, t) : FOREVER; }
    void ModifyObject(TimeValue, ModContext& mc, ObjectState* os, INode* node) override {
        log->push_back(name);
        seenNode = node;
        seenObject = os->obj;
        seenBox = mc.box ? *mc.box : Box3();
        if (!changes) return;
        struct Step : Deformer {
            float s;
            Point3 Map(int, Point3 p) override { return p + Point3(s, 0.0f, 0.0f); }
        } def;
        def.s = step;
        os->obj->Deform(&def);
    }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }

    std::string name;
    std::vector<std::string>* log;
    float step;
    ChannelMask changes = GEOM_CHANNEL;
    bool timeDependent = false;
    INode* seenNode = nullptr;
    Object* seenObject = nullptr;
    Box3 seenBox;
};

// A mesh of n points on a line along x and (n - 2) triangles.
inline TriObject* LineMesh(int n) {
    TriObject* tri = CreateNewTriObject();
    tri->mesh.setNumVerts(n);
    for (int i = 0; i < n; ++i) tri->mesh.verts[i] = Point3(static_cast<float>(i), static_cast<float>(i % 3), 0.0f);
    tri->mesh.setNumFaces(n > 2 ? n - 2 : 0);
    for (int f = 0; f + 2 < n; ++f) tri->mesh.faces[f].setVerts(f, f + 1, f + 2);
    return tri;
}

}  // namespace objtest
