#include "objects_fixtures.h"

using namespace objtest;

namespace {

Point3 EvalPoint(Object* obj, int i, TimeValue t = 0) {
    ObjectState os = obj->Eval(t);
    return os.obj ? os.obj->GetPoint(i) : Point3(-999, -999, -999);
}

}  // namespace

TEST_F(ObjectsTest, StackAppliesFromTheHighestIndexDownAndIndexZeroIsTheTop) {
    std::vector<std::string> log;
    TriObject* base = LineMesh(4);
    IDerivedObject* d = CreateDerivedObject(base);
    INode* node = ip()->CreateObjectNode(d, L"Stack");

    auto* a = new LogMod("a", &log, 1.0f);
    auto* b = new LogMod("b", &log, 10.0f);
    d->AddModifier(a);  // alone: index 0
    d->AddModifier(b);  // before 0: b goes on top, a moves to index 1
    ASSERT_EQ(d->NumModifiers(), 2);
    EXPECT_EQ(d->GetModifier(0), b) << "AddModifier with the default index puts the modifier on top";
    EXPECT_EQ(d->GetModifier(1), a);
    EXPECT_EQ(d->GetModifier(2), nullptr);
    EXPECT_EQ(d->GetModifier(-1), nullptr);

    ObjectState os = node->EvalWorldState(0);
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b"})) << "the bottom modifier runs first";
    ASSERT_NE(os.obj, nullptr);
    EXPECT_NE(os.obj, base) << "the stack works on its own copy";
    EXPECT_EQ(os.obj->GetPoint(2), Point3(13, 2, 0));
    EXPECT_EQ(base->GetPoint(2), Point3(2, 2, 0)) << "the base object is never changed";
    EXPECT_EQ(a->seenNode, node) << "the modifier is told the node it works for";
    EXPECT_EQ(d->FindBaseObject(), base);

    // An index past the end inserts at the bottom, right above the object.
    auto* c = new LogMod("c", &log, 100.0f);
    d->AddModifier(c, nullptr, 99);
    EXPECT_EQ(d->GetModifier(2), c);
    log.clear();
    node->EvalWorldState(0);
    EXPECT_EQ(log, (std::vector<std::string>{"c", "a", "b"}));

    // Partial evaluation: index 1 and below.
    log.clear();
    ObjectState part = d->Eval(0, 1);
    EXPECT_EQ(log, (std::vector<std::string>{"c", "a"}));
    ASSERT_NE(part.obj, nullptr);
    EXPECT_EQ(part.obj->GetPoint(0), Point3(101, 0, 0));
    EXPECT_EQ(d->Eval(0, 3).obj, base) << "past every modifier only the object is left";

    // Order-dependent modifiers: scale then offset differs from offset then scale.
    d->DeleteModifier(0);
    d->DeleteModifier(0);
    d->DeleteModifier(0);
    EXPECT_EQ(d->NumModifiers(), 0);
    d->AddModifier(MakeOffset(Point3(0, 0, 0), 2.0f));  // bottom after the next add
    d->AddModifier(MakeOffset(Point3(1, 0, 0), 1.0f));  // top
    EXPECT_EQ(EvalPoint(d, 3), Point3(7, 0, 0)) << "(3 * 2) + 1: the scale applies first";
}

TEST_F(ObjectsTest, ChannelValidityFollowsWhatTheModifiersDependOn) {
    TriObject* base = LineMesh(3);
    IDerivedObject* d = CreateDerivedObject(base);
    ip()->CreateObjectNode(d, L"Valid");

    Modifier* still = MakeOffset(Point3(1, 2, 3));
    d->AddModifier(still);
    ObjectState os = d->Eval(100);
    EXPECT_EQ(os.obj->ChannelValidity(100, GEOM_CHAN_NUM), FOREVER) << "a static modifier keeps FOREVER";
    EXPECT_EQ(os.obj->ChannelValidity(100, TOPO_CHAN_NUM), FOREVER);
    EXPECT_EQ(d->ObjectValidity(100), FOREVER);
    EXPECT_EQ(d->Eval(5000).obj, os.obj) << "a result valid forever is answered from the cache";

    // The offset animated through a controller: the geometry holds only at the instant.
    auto* moving = new MovingPoint3();
    ASSERT_TRUE(still->GetParamBlock(0)->SetController(offsetmod_offset, 0, moving, FALSE));
    os = d->Eval(160);
    EXPECT_EQ(os.obj->ChannelValidity(160, GEOM_CHAN_NUM), Interval(160, 160));
    EXPECT_EQ(os.obj->ChannelValidity(160, TOPO_CHAN_NUM), FOREVER) << "only the changed channel narrows";
    EXPECT_EQ(os.obj->GetPoint(1), Point3(161, 1, 0));
    EXPECT_EQ(d->Eval(320).obj->GetPoint(1), Point3(321, 1, 0)) << "a new time re-evaluates";

    // A modifier that narrows only through LocalValidity still narrows the result.
    std::vector<std::string> log;
    auto* timed = new LogMod("timed", &log, 1.0f);
    timed->timeDependent = true;
    IDerivedObject* d2 = CreateDerivedObject(LineMesh(3));
    ip()->CreateObjectNode(d2, L"Valid2");
    d2->AddModifier(timed);
    EXPECT_EQ(d2->Eval(50).obj->ChannelValidity(50, GEOM_CHAN_NUM), Interval(50, 50));
    d2->Eval(50);
    EXPECT_EQ(log.size(), 1u) << "the same instant is answered from the cache";
    d2->Eval(51);
    EXPECT_EQ(log.size(), 2u) << "the next instant is evaluated again";
}

TEST_F(ObjectsTest, CachedResultsDropWhenAnythingBelowChanges) {
    std::vector<std::string> log;
    TriObject* base = LineMesh(3);
    IDerivedObject* d = CreateDerivedObject(base);
    ip()->CreateObjectNode(d, L"Cache");
    auto* m = new LogMod("m", &log, 1.0f);
    d->AddModifier(m);

    d->Eval(0);
    d->Eval(10);
    EXPECT_EQ(log.size(), 1u) << "a static result is computed once";

    base->mesh.verts[0] = Point3(50, 0, 0);
    base->NotifyDependents(FOREVER, PART_GEOM, REFMSG_CHANGE);
    EXPECT_EQ(EvalPoint(d, 0), Point3(51, 0, 0)) << "a change of the object below re-evaluates";
    EXPECT_EQ(log.size(), 2u);

    m->DisableMod();
    EXPECT_EQ(EvalPoint(d, 0), Point3(50, 0, 0)) << "a disabled modifier is skipped";
    m->EnableMod();
    EXPECT_EQ(EvalPoint(d, 0), Point3(51, 0, 0));

    // Topology changes below reach the copy.
    base->mesh.setNumVerts(5, TRUE);
    base->mesh.verts[4] = Point3(7, 7, 7);
    base->NotifyDependents(FOREVER, PART_TOPO | PART_GEOM, REFMSG_CHANGE);
    ObjectState os = d->Eval(0);
    ASSERT_EQ(os.obj->NumPoints(), 5);
    EXPECT_EQ(os.obj->GetPoint(4), Point3(8, 7, 7));
}

TEST_F(ObjectsTest, AModifierThatChangesNothingLeavesAHelperAHelper) {
    auto* point = Make(HELPER_CLASS_ID, POINTHELP_CLASS_ID);
    ASSERT_NE(point, nullptr);
    INode* node = ip()->CreateObjectNode(point, L"Ctl");
    auto* holder = Make<Modifier>(OSM_CLASS_ID, EMPTYMOD_CLASS_ID);
    ASSERT_NE(holder, nullptr);
    ASSERT_TRUE(host::AddModifierToNode(node, holder));

    auto* d = dynamic_cast<IDerivedObject*>(node->GetObjectRef());
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->GetModifier(0), holder);
    EXPECT_EQ(node->EvalWorldState(0).obj, point) << "the helper itself is the result";
    EXPECT_EQ(d->FindBaseObject(), point);
    EXPECT_EQ(host::FindNodeOfModifier(holder), node);

    // A deforming modifier on a helper that cannot be deformed is skipped, not a crash.
    std::vector<std::string> log;
    d->AddModifier(new LogMod("deformer", &log, 1.0f));
    EXPECT_EQ(node->EvalWorldState(0).obj, point);
    EXPECT_TRUE(log.empty());

    // Nested derived objects: the base is found through both.
    IDerivedObject* outer = CreateDerivedObject(d);
    node->SetObjectRef(outer);
    EXPECT_EQ(outer->FindBaseObject(), point);
    int seen = 0;
    host::ForEachModifier(node, [&](IDerivedObject*, int, Modifier*) { ++seen; });
    EXPECT_EQ(seen, 2);
}

TEST_F(ObjectsTest, ModifierAddAndDeleteAreUndoneAndRedone) {
    TriObject* base = LineMesh(3);
    INode* node = ip()->CreateObjectNode(base, L"Undo");

    theHold.Begin();
    Modifier* mod = MakeOffset(Point3(5, 0, 0));
    ASSERT_TRUE(host::AddModifierToNode(node, mod));
    theHold.Accept(L"Add Modifier");

    auto* d = dynamic_cast<IDerivedObject*>(node->GetObjectRef());
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(node->EvalWorldState(0).obj->GetPoint(0), Point3(5, 0, 0));

    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(node->GetObjectRef(), base) << "undo takes the derived object away again";
    EXPECT_EQ(d->NumModifiers(), 0);
    EXPECT_EQ(node->EvalWorldState(0).obj->GetPoint(0), Point3(0, 0, 0));

    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(node->GetObjectRef(), d);
    ASSERT_EQ(d->NumModifiers(), 1);
    EXPECT_EQ(d->GetModifier(0), mod);
    EXPECT_EQ(node->EvalWorldState(0).obj->GetPoint(0), Point3(5, 0, 0));

    // Delete, then undo brings the same modifier back at its index.
    Modifier* top = MakeOffset(Point3(0, 1, 0));
    d->AddModifier(top);
    theHold.Begin();
    d->DeleteModifier(1);
    theHold.Accept(L"Delete Modifier");
    ASSERT_EQ(d->NumModifiers(), 1);
    EXPECT_EQ(d->GetModifier(0), top);
    EXPECT_EQ(node->EvalWorldState(0).obj->GetPoint(0), Point3(0, 1, 0));
    ASSERT_TRUE(theHold.Undo());
    ASSERT_EQ(d->NumModifiers(), 2);
    EXPECT_EQ(d->GetModifier(1), mod) << "the deleted modifier was kept alive by the undo record";
    EXPECT_EQ(node->EvalWorldState(0).obj->GetPoint(0), Point3(5, 1, 0));

    // Without a hold the deleted modifier is released at once.
    const long before = Animatable::LiveCount();
    d->DeleteModifier(0);
    theHold.Reset();
    EXPECT_LT(Animatable::LiveCount(), before);
    EXPECT_EQ(d->NumModifiers(), 1);
}

TEST_F(ObjectsTest, StackConvertsToWhatAModifierAsksForAndSkipsWhatItCannot) {
    // A parametric box under a deformer becomes a mesh copy; the box itself keeps its mesh.
    auto* box = Make<SimpleObject>(GEOMOBJECT_CLASS_ID, BOXOBJ_CLASS_ID);
    ASSERT_NE(box, nullptr);
    IDerivedObject* d = CreateDerivedObject(box);
    ip()->CreateObjectNode(d, L"Box");
    d->AddModifier(MakeOffset(Point3(0, 0, 100)));
    ObjectState os = d->Eval(0);
    ASSERT_NE(os.obj, nullptr);
    EXPECT_TRUE(os.obj->IsSubClassOf(triObjectClassID));
    Box3 b;
    os.obj->GetDeformBBox(0, b);
    EXPECT_FLOAT_EQ(b.pmin.z, 100.0f);
    box->Eval(0);
    Box3 own;
    box->GetDeformBBox(0, own);
    EXPECT_FLOAT_EQ(own.pmin.z, 0.0f);

    // The box's parameters drive the result through the stack.
    box->GetParamBlock(0)->SetValue(box_height, 0, 40.0f);
    d->Eval(0).obj->GetDeformBBox(0, b);
    EXPECT_FLOAT_EQ(b.pmax.z, 140.0f);

    // A modifier that wants polygons gets a poly object built from the mesh.
    struct PolyOnly : LogMod {
        using LogMod::LogMod;
        Class_ID InputType() override { return polyObjectClassID; }
    };
    std::vector<std::string> log;
    auto* p = new PolyOnly("poly", &log, 0.0f);
    d->AddModifier(p);
    os = d->Eval(0);
    ASSERT_EQ(log.size(), 1u);
    auto* poly = dynamic_cast<PolyObject*>(p->seenObject);
    ASSERT_NE(poly, nullptr);
    EXPECT_EQ(poly->mm.numf, 6) << "the box reaches the modifier as six quads";
    EXPECT_EQ(p->seenBox.IsEmpty(), false) << "the ModContext box holds the input's bounds";
}

TEST_F(ObjectsTest, NestedAndSharedStacksEvaluateEachForTheirOwnNode) {
    // One base under two derived objects, one of them nested under a third: each node sees
    // its own stack, and the shared base is untouched.
    TriObject* base = LineMesh(3);
    IDerivedObject* inner = CreateDerivedObject(base);
    inner->AddModifier(MakeOffset(Point3(1, 0, 0)));
    IDerivedObject* outer = CreateDerivedObject(inner);
    Modifier* shared = MakeOffset(Point3(0, 0, 0), 3.0f);
    outer->AddModifier(shared);
    IDerivedObject* other = CreateDerivedObject(base);
    other->AddModifier(shared);  // the same modifier instanced in a second stack
    INode* a = ip()->CreateObjectNode(outer, L"A");
    INode* b = ip()->CreateObjectNode(other, L"B");

    EXPECT_EQ(a->EvalWorldState(0).obj->GetPoint(1), Point3(6, 3, 0)) << "(1 + 1) * 3 through both levels";
    EXPECT_EQ(b->EvalWorldState(0).obj->GetPoint(1), Point3(3, 3, 0));
    EXPECT_EQ(base->GetPoint(1), Point3(1, 1, 0));
    EXPECT_EQ(outer->FindBaseObject(), base);
    EXPECT_EQ(host::FindNodeOfModifier(inner->GetModifier(0)), a) << "found through the outer stack";

    // Changing the shared modifier reaches both stacks; disabling it is undoable.
    shared->GetParamBlock(0)->SetValue(offsetmod_scale, 0, 1.0f);
    EXPECT_EQ(a->EvalWorldState(0).obj->GetPoint(1), Point3(2, 1, 0));
    EXPECT_EQ(b->EvalWorldState(0).obj->GetPoint(1), Point3(1, 1, 0));
    shared->GetParamBlock(0)->SetValue(offsetmod_offset, 0, Point3(0, 0, 2));
    theHold.Begin();
    shared->DisableMod();
    theHold.Accept(L"Disable");
    EXPECT_EQ(b->EvalWorldState(0).obj->GetPoint(1), Point3(1, 1, 0));
    ASSERT_TRUE(theHold.Undo());
    EXPECT_TRUE(shared->IsEnabled());
    EXPECT_EQ(b->EvalWorldState(0).obj->GetPoint(1), Point3(1, 1, 2));

    // Replacing a modifier in place is undoable too, and a modifier may not enter a stack it
    // depends on.
    Modifier* swap = MakeOffset(Point3(0, 5, 0));
    theHold.Begin();
    other->SetModifier(0, swap);
    theHold.Accept(L"Replace");
    EXPECT_EQ(other->GetModifier(0), swap);
    EXPECT_EQ(b->EvalWorldState(0).obj->GetPoint(1), Point3(1, 6, 0));
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(other->GetModifier(0), shared);
    EXPECT_EQ(b->EvalWorldState(0).obj->GetPoint(1), Point3(1, 1, 2));
    const int before = outer->NumModifiers();
    outer->AddModifier(nullptr);
    EXPECT_EQ(outer->NumModifiers(), before);
    outer->DeleteModifier(7);
    outer->DeleteModifier(-1);
    EXPECT_EQ(outer->NumModifiers(), before);

    // The ModContext box is the input's bounds on first use, and travels with the stack.
    ModContext* mc = inner->GetModContext(0);
    ASSERT_NE(mc, nullptr);
    ASSERT_NE(mc->box, nullptr);
    EXPECT_EQ(mc->box->pmin, Point3(0, 0, 0));
    EXPECT_EQ(mc->box->pmax, Point3(2, 2, 0));
    EXPECT_EQ(inner->GetModContext(5), nullptr);
}
