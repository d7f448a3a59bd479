// A clean scene for each viewport test, and small builders.
#pragma once

#include <gtest/gtest.h>

#include "gfx.h"
#include "helpers.h"
#include "hold.h"
#include "inode.h"
#include "iparamb2.h"
#include "maxapi.h"
#include "viewexp.h"

namespace vptest {

class ViewportTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::ResetScene();
        theHold.Reset();
    }
    void TearDown() override {
        theHold.Reset();
        host::ResetScene();
    }

    // A front view of size w x h in which one world unit is one pixel, origin at the centre.
    static void FrontPixelView(ViewExp& vpt, int w = 200, int h = 200) {
        vpt.host_SetSize(w, h);
        vpt.host_SetViewType(VIEW_FRONT);
        Matrix3 tm;
        vpt.GetAffineTM(tm);
        vpt.host_SetOrthographic(tm, float(w));
    }

    static INode* MakePoint(const MCHAR* name, const Point3& pos, float size = 20.0f, bool box = false) {
        auto* obj = static_cast<PointHelpObject*>(
            static_cast<Animatable*>(CreateInstance(HELPER_CLASS_ID, POINTHELP_CLASS_ID)));
        obj->pblock2->SetValue(pointobj_size, 0, size);
        obj->pblock2->SetValue(pointobj_box, 0, box ? 1 : 0);
        INode* node = GetCOREInterface()->CreateObjectNode(obj, name);
        Matrix3 tm;
        tm.SetTrans(pos);
        node->SetNodeTM(0, tm);
        return node;
    }
};

}  // namespace vptest
