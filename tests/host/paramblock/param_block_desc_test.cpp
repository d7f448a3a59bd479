#include "pb_test_objects.h"

using namespace pbtest;

TEST(ParamBlockDesc2, TagListKeepsBlockOrderSparseIdsAndEveryOption) {
    ParamBlockDesc2& d = AllTypesDesc();
    ASSERT_EQ(d.Count(), 24);
    EXPECT_EQ(d.version, 3);
    EXPECT_EQ(d.ref_no, 0);
    ASSERT_EQ(d.maps.size(), 1u);
    EXPECT_EQ(d.maps[0].dlg_template, 1000);

    // Definition order, not id order; unknown ids map to -1.
    EXPECT_EQ(d.IndextoID(0), pb_float);
    EXPECT_EQ(d.IndextoID(1), pb_int);
    EXPECT_EQ(d.IndextoID(23), pb_hidden);
    EXPECT_EQ(d.IndextoID(24), -1);
    EXPECT_EQ(d.IDtoIndex(pb_float), 0);
    EXPECT_EQ(d.IDtoIndex(pb_frgba), 17);
    EXPECT_EQ(d.IDtoIndex(0), -1);
    EXPECT_EQ(d.IDtoIndex(39), -1);
    EXPECT_EQ(d.IDtoIndex(-1), -1);
    EXPECT_EQ(d.IDtoIndex(1000), -1);
    EXPECT_EQ(d.GetParamDef(999).ID, -1);

    const ParamDef& f = d.GetParamDef(pb_float);
    EXPECT_EQ(f.type, TYPE_FLOAT);
    EXPECT_EQ(f.flags, P_ANIMATABLE);
    EXPECT_FLOAT_EQ(f.def.f, 1.5f);
    EXPECT_TRUE(f.has_range);
    EXPECT_FLOAT_EQ(f.range_high.f, 10.0f);
    EXPECT_EQ(f.ctrl_type, TYPE_SPINNER);
    EXPECT_EQ(f.ctrl_IDs, (std::vector<int>{1001, 1002}));
    EXPECT_FLOAT_EQ(f.spin_scale, 0.1f);
    EXPECT_EQ(f.accessor, &Accessor());

    // A point3 spinner names three id pairs; had they been read wrongly, every later
    // parameter would be garbage.
    const ParamDef& p = d.GetParamDef(pb_point3);
    EXPECT_EQ(p.ctrl_IDs.size(), 6u);
    EXPECT_FLOAT_EQ(p.spin_scale, 0.5f);
    EXPECT_EQ(p.def.p3(), Point3(1.0f, 2.0f, 3.0f));
    EXPECT_EQ(d.GetParamDef(pb_int).range_high.i, 100);
    EXPECT_EQ(d.GetParamDef(pb_int).def.i, 7);
    EXPECT_EQ(d.GetParamDef(pb_rgba).def.p3(), Point3(1.0f, 0.0f, 0.0f));
    EXPECT_EQ(d.GetParamDef(pb_bool).def.i, TRUE);
    EXPECT_EQ(d.GetParamDef(pb_string).def.s, L"hello");
    EXPECT_EQ(d.GetParamDef(pb_time).def.i, 320);
    EXPECT_EQ(d.GetParamDef(pb_ref).validator, &Validator());
    EXPECT_EQ(d.GetParamDef(pb_point2).def.p2(), Point2(4.0f, 5.0f));
    EXPECT_EQ(d.GetParamDef(pb_frgba).def.p4, Point4(0.1f, 0.2f, 0.3f, 0.4f));
    EXPECT_EQ(d.GetParamDef(pb_node_tab).ctrl_IDs.size(), 4u);
    EXPECT_EQ(d.GetParamDef(pb_float_tab).tab_size, 2);
    EXPECT_EQ(d.GetParamDef(pb_float_tab).flags, P_ANIMATABLE | P_VARIABLE_SIZE);
    EXPECT_EQ(d.GetParamDef(pb_string_tab).tab_size, 1);
    EXPECT_EQ(d.GetParamDef(pb_hidden).flags, P_READ_ONLY | P_TRANSIENT);

    // Script names: any case, blanks allowed, an empty name is never found.
    EXPECT_EQ(d.NameToIndex(L"MANUAL_STRETCH"), 0);
    EXPECT_EQ(d.NameToIndex(L"two words"), d.IDtoIndex(pb_blank));
    EXPECT_EQ(d.NameToIndex(L""), -1);
    EXPECT_EQ(d.NameToIndex(L"nope"), -1);

    // Display names come from the class's string table, else the script name.
    EXPECT_EQ(d.GetLocalName(pb_float), L"Manual Stretch");
    EXPECT_EQ(d.GetLocalName(pb_int), L"count");
    EXPECT_EQ(d.GetLocalName(pb_float_tab, 1), L"Weight 2");
    EXPECT_EQ(d.GetLocalName(), L"Parameters");

    // The descriptor registered itself with its class.
    EXPECT_EQ(OwnerDesc().GetParamBlockDescByID(0), &d);
    EXPECT_EQ(OwnerDesc().GetParamBlockDescByName(L"PARAMS"), &d);
    EXPECT_EQ(OwnerDesc().GetParamBlockDescByID(5), nullptr);
}

TEST(ParamBlockDesc2, ProgrammaticBuildingGivesWorkingBlocks) {
    ParamBlockDesc2 d;
    d.Define(1, L"built", 0, nullptr, 0);
    ParamDef& a = d.AddParam(5, L"a", TYPE_FLOAT, P_ANIMATABLE, 0);
    EXPECT_EQ(a.ID, 5);
    d.SetDefault(5, 2.0f);
    d.ParamOption(5, p_range, 0.0f, 4.0f);
    d.AddParam(2, L"b", TYPE_INODE_TAB, P_VARIABLE_SIZE, 0);
    d.SetTabSize(2, 3);
    d.AddParam(9, L"c", TYPE_INT_TAB, 4, 0, 0, p_default, 6, p_end);
    // A repeated id keeps the first definition, even through the tag list.
    d.AddParam(5, L"again", TYPE_INT, 0, 0);
    d.AddParam(5, L"again", TYPE_INT, 0, 0, p_default, 3, p_end);
    ASSERT_EQ(d.Count(), 3);
    EXPECT_EQ(d.GetParamDef(5).int_name, L"a");
    EXPECT_FLOAT_EQ(d.GetParamDef(5).range_high.f, 4.0f);

    IParamBlock2* pb = CreateParameterBlock2(&d, nullptr);
    EXPECT_FLOAT_EQ(pb->GetFloat(5), 2.0f);
    EXPECT_EQ(pb->Count(2), 3);
    EXPECT_EQ(pb->GetINode(2, 0, 2), nullptr);
    ASSERT_EQ(pb->Count(9), 4);
    for (int k = 0; k < 4; ++k) EXPECT_EQ(pb->GetInt(9, 0, k), 6);
    pb->DeleteMe();

    d.DeleteParam(2);
    EXPECT_EQ(d.IDtoIndex(2), -1);
    EXPECT_EQ(d.IDtoIndex(9), 1);
    EXPECT_EQ(CreateParameterBlock2(nullptr, nullptr), nullptr);
}

TEST(ParamBlockDesc2, AutoConstructionPutsTheBlockIntoTheOwnersSlot) {
    kttest::LiveObjectGuard guard;
    Owner* o = NewOwner();
    ASSERT_NE(o->pb, nullptr);
    EXPECT_EQ(o->pb->GetDesc(), &AllTypesDesc());
    EXPECT_EQ(o->pb->GetOwner(), o);
    EXPECT_EQ(o->pb->ID(), 0);
    EXPECT_EQ(o->pb->SuperClassID(), PARAMETER_BLOCK2_CLASS_ID);
    EXPECT_EQ(o->pb->GetLocalName(), L"Parameters");
    // A loading owner gets no block: the file supplies it.
    auto* loading = static_cast<Owner*>(static_cast<Animatable*>(OwnerDesc().Create(TRUE)));
    EXPECT_EQ(loading->pb, nullptr);
    loading->DeleteMe();
    o->DeleteMe();
    EXPECT_EQ(guard.Leaked(), 0);
}
