// The value model: ownership of heap values, names, the listener's number forms, equality.
#include <gtest/gtest.h>

#include "script/classes.h"
#include "script/interpreter.h"
#include "script/value.h"

using host::script::Name;
using host::script::ScriptClass;
using host::script::Value;

namespace {

// Counts live instances, so that a test can see every script value let go of it.
class Counted : public host::script::ScriptObject {
public:
    static int live;
    Counted() { ++live; }
    ~Counted() override { --live; }
    ScriptClass* Class() const override { return host::script::classes::ValueClass(); }
    void Print(std::string& out) const override { out += "<counted>"; }
};
int Counted::live = 0;

std::string Float(float f) {
    std::string s;
    host::script::FormatFloat(f, s);
    return s;
}

}  // namespace

TEST(ScriptValues, HeapValuesAreReleasedWhenTheLastHolderGoes) {
    ASSERT_EQ(Counted::live, 0);
    {
        Value a = Value::Object(new Counted);
        Value b = a;
        Value c = std::move(b);
        EXPECT_TRUE(b.IsUndefined());
        std::vector<Value> items{a, c};
        Value arr = Value::NewArray(items);
        a = Value::Int(1);
        c = Value();
        items.clear();
        EXPECT_EQ(Counted::live, 1);  // the array still holds it
        arr = Value::Float(2.f);
        EXPECT_EQ(Counted::live, 0);
    }
    // values a script made and dropped are released too, closures and arrays included
    {
        host::script::Interpreter in(false);
        host::script::CaptureSink sink;
        in.SetListener(&sink);
        in.RegisterPrimitive("makeCounted", [](host::script::Interpreter&, const host::script::CallArgs&) {
            return Value::Object(new Counted);
        });
        auto r = in.Run("a = #(makeCounted(), makeCounted())\nfn keep = a\nb = keep()\nb[1] = 0\na = undefined\nb");
        ASSERT_TRUE(r.ok) << sink.Text();
        EXPECT_EQ(Counted::live, 1);
        r = in.Run("b = undefined\n(local t = makeCounted(); t)");
        r = {};
        EXPECT_EQ(Counted::live, 0);
    }
    EXPECT_EQ(Counted::live, 0);
}

TEST(ScriptValues, NamesIgnoreCaseAndKeepTheirSpelling) {
    Name a = Name::Intern("HipBone");
    Name b = Name::Intern("hipbone");
    Name c = Name::Intern("HIPBONE");
    EXPECT_EQ(a, b);
    EXPECT_EQ(b, c);
    EXPECT_EQ(a.Id(), c.Id());
    EXPECT_EQ(a.Str(), "HipBone");
    EXPECT_EQ(b.Str(), "hipbone");
    EXPECT_NE(a, Name::Intern("HipBone2"));
    EXPECT_EQ(Value::FromName(c).Print(), "#HIPBONE");
    EXPECT_EQ(Value::FromName(Name::Intern("two words")).Print(), "#'two words'");
    EXPECT_EQ(Value::FromName(Name::Intern("two words")).ToDisplay(), "two words");
}

TEST(ScriptValues, NumbersPrintAsTheListenerShowsThem) {
    EXPECT_EQ(Float(1.f), "1.0");
    EXPECT_EQ(Float(-2.f), "-2.0");
    EXPECT_EQ(Float(0.5f), "0.5");
    EXPECT_EQ(Float(1.f / 3.f), "0.333333");
    EXPECT_EQ(Float(123456.f), "123456.0");
    EXPECT_EQ(Float(1234567.f), "1.23457e+06");
    EXPECT_EQ(Float(1e-5f), "1e-05");
    EXPECT_EQ(Value::Point3(-0.f, 1.5f, 90.f).Print(), "[0,1.5,90]");
    EXPECT_EQ(Value::Time(160 * 3).Print(), "3f");
    EXPECT_EQ(Value::Time(-80).Print(), "-0.5f");
    EXPECT_EQ(Value::Int(-2147483647 - 1).Print(), "-2147483648");
    EXPECT_EQ(Value::Color(1, 2, 3).Print(), "(color 1 2 3)");
    EXPECT_EQ(Value::Color(1, 2, 3, 4).Print(), "(color 1 2 3 4)");
    EXPECT_EQ(Value::String("a\"b\\c\n").Print(), "\"a\\\"b\\\\c\\n\"");
}

TEST(ScriptValues, EqualityFollowsTheLanguage) {
    using host::script::ValuesEqual;
    EXPECT_TRUE(ValuesEqual(Value::Int(2), Value::Float(2.f)));
    EXPECT_FALSE(ValuesEqual(Value::Int(2), Value::Float(2.5f)));
    EXPECT_TRUE(ValuesEqual(Value::Time(320), Value::Int(2)));  // numbers are frames
    EXPECT_FALSE(ValuesEqual(Value::Int(1), Value::Bool(true)));
    EXPECT_FALSE(ValuesEqual(Value::String("a"), Value::FromName(Name::Intern("a"))));
    EXPECT_TRUE(ValuesEqual(Value::Point3(1, 2, 3), Value::Point3(1, 2, 3)));
    EXPECT_FALSE(ValuesEqual(Value::Point3(1, 2, 3), Value::Point2(1, 2)));
    Value a = Value::NewArray({Value::Int(1)});
    EXPECT_TRUE(ValuesEqual(a, a));
    EXPECT_FALSE(ValuesEqual(a, Value::NewArray({Value::Int(1)})));
    EXPECT_TRUE(ValuesEqual(Value(), Value()));
    EXPECT_FALSE(ValuesEqual(Value(), Value::Unsupplied()));
}

TEST(ScriptValues, CheckedConversionsNameTheWantedType) {
    try {
        Value::String("x").ToFloat();
        FAIL() << "converted";
    } catch (const host::script::ScriptError& e) {
        EXPECT_EQ(e.Text(), "-- Unable to convert: \"x\" to type: Float");
    }
    EXPECT_EQ(Value::Float(2.9f).ToInt(), 2);
    EXPECT_EQ(Value::Float(-2.9f).ToInt(), -2);
    EXPECT_THROW(Value::Float(3e10f).ToInt(), host::script::ScriptError);
    EXPECT_EQ(Value::Time(480).ToInt(), 480);
    EXPECT_EQ(Value::Int(3).ToTime(), 480);
    float p[3];
    Value::Point2(1, 2).ToPoint3(p);
    EXPECT_EQ(p[2], 0.f);
    EXPECT_THROW(Value::Bool(true).ToPoint3(p), host::script::ScriptError);
}
