// Settings built-ins over plain ini files.
#include "runtime.h"
#include "script/ini_file.h"

namespace host::script {

namespace {

std::vector<Value> Strings(const std::vector<std::string>& v) {
    std::vector<Value> r;
    for (const std::string& s : v) r.push_back(Value::String(s));
    return r;
}

}  // namespace

void RegisterIniBuiltins(Interpreter& in) {
    in.RegisterPrimitive("getMAXIniFile", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getMAXIniFile", a, 0);
        return Value::String(HostIniPath());
    });
    // getINISetting file [section [key]]: the value ("" when missing), the keys of a section,
    // or the sections of the file.
    in.RegisterPrimitive("getINISetting", [](Interpreter&, const CallArgs& a) {
        CheckArgCountRange("getINISetting", a, 1, 3);
        IniFile ini;
        ini.Load(a[0].ToStr());
        if (a.Count() == 1) return Value::NewArray(Strings(ini.Sections()));
        if (a.Count() == 2) return Value::NewArray(Strings(ini.Keys(a[1].ToDisplay())));
        return Value::String(ini.Get(a[1].ToDisplay(), a[2].ToDisplay()).value_or(""));
    });
    in.RegisterPrimitive("setINISetting", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("setINISetting", a, 4);
        std::string path = a[0].ToStr();
        IniFile ini;
        ini.Load(path);
        ini.Set(a[1].ToDisplay(), a[2].ToDisplay(), a[3].ToDisplay());
        return Value::Bool(ini.Save(path));
    });
    in.RegisterPrimitive("hasINISetting", [](Interpreter&, const CallArgs& a) {
        CheckArgCountRange("hasINISetting", a, 2, 3);
        IniFile ini;
        ini.Load(a[0].ToStr());
        if (a.Count() == 2) return Value::Bool(ini.HasSection(a[1].ToDisplay()));
        return Value::Bool(ini.Get(a[1].ToDisplay(), a[2].ToDisplay()).has_value());
    });
    in.RegisterPrimitive("delIniSetting", [](Interpreter&, const CallArgs& a) {
        CheckArgCountRange("delIniSetting", a, 2, 3);
        std::string path = a[0].ToStr();
        IniFile ini;
        if (!ini.Load(path)) return Value::Bool(false);
        bool removed = a.Count() == 2 ? ini.RemoveSection(a[1].ToDisplay()) : ini.Remove(a[1].ToDisplay(), a[2].ToDisplay());
        return Value::Bool(removed && ini.Save(path));
    });
}

}  // namespace host::script
