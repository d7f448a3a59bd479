#include "pb_test_objects.h"

using namespace pbtest;

namespace {

class Tables : public OwnerTest {
protected:
    std::vector<float> Weights() {
        std::vector<float> w;
        for (int k = 0; k < pb->Count(pb_float_tab); ++k) w.push_back(pb->GetFloat(pb_float_tab, 0, k));
        return w;
    }
    INode* Node(const MCHAR* name) { return GetCOREInterface()->CreateObjectNode(nullptr, name); }
};

using W = std::vector<float>;

}  // namespace

TEST_F(Tables, EditsUndoAndRedoToExactValuesAndCounts) {
    ASSERT_EQ(Weights(), (W{0.25f, 0.25f}));
    EXPECT_EQ(pb->Count(pb_float), 1) << "a plain parameter counts as one entry";
    EXPECT_EQ(pb->Count(999), 0);

    theHold.Begin();
    float add[3] = {1.0f, 2.0f, 3.0f};
    EXPECT_EQ(pb->Append(pb_float_tab, 3, add), 2);
    theHold.Accept(L"append");
    const W s1{0.25f, 0.25f, 1.0f, 2.0f, 3.0f};
    EXPECT_EQ(Weights(), s1);

    theHold.Begin();
    float nine = 9.0f;
    EXPECT_EQ(pb->Insert(pb_float_tab, 1, 1, &nine), 1);
    theHold.Accept(L"insert");
    const W s2{0.25f, 9.0f, 0.25f, 1.0f, 2.0f, 3.0f};
    EXPECT_EQ(Weights(), s2);

    // Several edits in one hold undo together.
    theHold.Begin();
    EXPECT_EQ(pb->Delete(pb_float_tab, 0, 2), 4);
    EXPECT_TRUE(pb->SetValue(pb_float_tab, 0, 7.0f, 2));
    theHold.Accept(L"delete and set");
    const W s3{0.25f, 1.0f, 7.0f, 3.0f};
    EXPECT_EQ(Weights(), s3);

    theHold.Begin();
    pb->SetCount(pb_float_tab, 1);
    theHold.Accept(L"shrink");
    EXPECT_EQ(Weights(), (W{0.25f}));

    theHold.Begin();
    pb->SetCount(pb_float_tab, 3);
    theHold.Accept(L"grow");
    const W s5{0.25f, 0.25f, 0.25f};
    EXPECT_EQ(Weights(), s5) << "new entries take the default";

    // Out-of-range edits change nothing.
    EXPECT_EQ(pb->Delete(pb_float_tab, 5, 1), 3);
    EXPECT_EQ(pb->Delete(pb_float_tab, 0, 0), 3);
    EXPECT_EQ(pb->Append(pb_float, 1, add), -1) << "not a table";
    EXPECT_EQ(pb->Append(pb_node_tab, 1, add), -1) << "floats do not go into a node table";

    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(Weights(), (W{0.25f}));
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(Weights(), s3);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(Weights(), s2);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(Weights(), s1);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(Weights(), (W{0.25f, 0.25f}));
    EXPECT_EQ(pb->NumSubs(), 8);

    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(Weights(), s1);
    EXPECT_EQ(pb->NumSubs(), 11) << "table entries of an animatable table are tracks";
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(Weights(), s2);
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(Weights(), s3);
    ASSERT_TRUE(theHold.Redo());
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(Weights(), s5);
}

TEST_F(Tables, TheAccessorHearsEveryTableEdit) {
    ProbeAccessor& a = Accessor();
    float v[2] = {1.0f, 2.0f};
    pb->Append(pb_float_tab, 2, v);
    pb->Insert(pb_float_tab, 0, 1, v);
    pb->Delete(pb_float_tab, 1, 2);
    pb->SetCount(pb_float_tab, 6);
    pb->SetCount(pb_float_tab, 1);
    ASSERT_EQ(a.tabCalls.size(), 5u);
    auto is = [](const ProbeAccessor::TabCall& c, tab_changes code, int index, int count) {
        return c.code == code && c.id == pb_float_tab && c.tabIndex == index && c.count == count;
    };
    EXPECT_TRUE(is(a.tabCalls[0], tab_append, 2, 2));
    EXPECT_TRUE(is(a.tabCalls[1], tab_insert, 0, 1));
    EXPECT_TRUE(is(a.tabCalls[2], tab_delete, 1, 2));
    EXPECT_TRUE(is(a.tabCalls[3], tab_setcount, 3, 3));
    EXPECT_TRUE(is(a.tabCalls[4], tab_setcount, 1, 5));
}

TEST_F(Tables, NodeTablesReferenceTheirNodesThroughEditsDeletionAndUndo) {
    INode* a = Node(L"A");
    INode* b = Node(L"B");
    INode* c = Node(L"C");
    INode* nodes[3] = {a, b, c};
    ASSERT_EQ(pb->Append(pb_node_tab, 3, nodes), 0);
    auto refersTo = [&](INode* n) {
        const auto& d = n->Dependents();
        return std::find(d.begin(), d.end(), pb) != d.end();
    };
    EXPECT_TRUE(refersTo(a) && refersTo(b) && refersTo(c));
    const int slotC = pb->GetRefNum(pb_node_tab, 2);
    EXPECT_EQ(pb->GetReference(slotC), c);

    theHold.Begin();
    pb->Delete(pb_node_tab, 1, 1);
    theHold.Accept(L"drop B");
    EXPECT_FALSE(refersTo(b));
    EXPECT_EQ(pb->GetINode(pb_node_tab, 0, 1), c);
    EXPECT_EQ(pb->GetReference(pb->GetRefNum(pb_node_tab, 1)), c) << "slots follow the entries";

    ASSERT_TRUE(theHold.Undo());
    ASSERT_EQ(pb->Count(pb_node_tab), 3);
    EXPECT_EQ(pb->GetINode(pb_node_tab, 0, 1), b);
    EXPECT_TRUE(refersTo(b));
    ASSERT_TRUE(theHold.Redo());
    EXPECT_FALSE(refersTo(b));

    // A deleted node leaves an empty entry; the table keeps its length.
    theHold.Begin();
    GetCOREInterface()->DeleteNode(c);
    theHold.Accept(L"delete C");
    ASSERT_EQ(pb->Count(pb_node_tab), 2);
    EXPECT_EQ(pb->GetINode(pb_node_tab, 0, 0), a);
    EXPECT_EQ(pb->GetINode(pb_node_tab, 0, 1), nullptr);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(pb->GetINode(pb_node_tab, 0, 1), c) << "undoing the deletion puts the node back";

    // String tables keep their text through edits.
    const MCHAR* names[2] = {L"left", L"right"};
    pb->Insert(pb_string_tab, 0, 2, names);
    ASSERT_EQ(pb->Count(pb_string_tab), 3);
    EXPECT_STREQ(pb->GetStr(pb_string_tab, 0, 0), L"left");
    EXPECT_STREQ(pb->GetStr(pb_string_tab, 0, 1), L"right");
    EXPECT_STREQ(pb->GetStr(pb_string_tab, 0, 2), L"x");
}
