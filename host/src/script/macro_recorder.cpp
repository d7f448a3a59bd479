#include "macrorec.h"

#include <algorithm>

#include "bind.h"
#include "maxapi.h"

namespace {

MSTR Wide(const std::string& utf8) { return MSTR(host::FromUtf8(utf8)); }

}  // namespace

MacroRecorder::Arg::Arg(int v) : text_(std::to_wstring(v)) {}

MacroRecorder::Arg::Arg(float v) {
    std::string s;
    host::script::FormatComponent(v, s);
    text_ = Wide(s);
}

MacroRecorder::Arg::Arg(bool v) : text_(v ? L"true" : L"false") {}

MacroRecorder::Arg::Arg(const MCHAR* string)
    : text_(Wide(host::script::Value::String(host::ToUtf8(string ? string : L"")).Print())) {}

MacroRecorder::Arg::Arg(const Point3& p) : text_(Wide(host::script::FromPoint3(p).Print())) {}

MacroRecorder::Arg MacroRecorder::Arg::Name(const MCHAR* name) {
    Arg a;
    a.text_ = Wide(host::script::Value::FromName(host::script::Name::Intern(host::ToUtf8(name ? name : L""))).Print());
    return a;
}

MacroRecorder::Arg MacroRecorder::Arg::Time(TimeValue t) {
    Arg a;
    const int tpf = GetTicksPerFrame();
    a.text_ = t % tpf == 0 ? MSTR(std::to_wstring(t / tpf) + L"f") : MSTR(std::to_wstring(t) + L"t");
    return a;
}

MacroRecorder::Arg MacroRecorder::Arg::Anim(Animatable* anim) {
    Arg a;
    const std::string path = host::script::scene::ScriptPathOf(anim);
    a.valid_ = !path.empty();
    a.text_ = Wide(path);
    return a;
}

void MacroRecorder::Enable() {
    if (disabled_ > 0) --disabled_;
}

void MacroRecorder::Disable() { ++disabled_; }

void MacroRecorder::Compose(MSTR head, std::initializer_list<Arg> args, std::initializer_list<KeyArg> keys,
                            bool valid) {
    hasPending_ = false;
    if (!Enabled() || !valid) return;
    MSTR line = std::move(head);
    for (const Arg& a : args) {
        if (!a.Valid()) return;
        line += MSTR(L" ") + a.Text();
    }
    for (const KeyArg& k : keys) {
        if (!k.value.Valid()) return;
        line += MSTR(L" ") + MSTR(k.name) + MSTR(L":") + k.value.Text();
    }
    if (args.size() == 0 && keys.size() == 0) line += MSTR(L"()");
    pending_ = std::move(line);
    hasPending_ = true;
}

void MacroRecorder::FunctionCall(const MCHAR* fn, std::initializer_list<Arg> args, std::initializer_list<KeyArg> keys) {
    Compose(MSTR(fn ? fn : L""), args, keys, fn && *fn);
}

void MacroRecorder::MethodCall(Animatable* target, const MCHAR* fn, std::initializer_list<Arg> args,
                               std::initializer_list<KeyArg> keys) {
    hasPending_ = false;
    if (!Enabled()) return;
    const Arg path = Arg::Anim(target);
    Compose(path.Text() + MSTR(L".") + MSTR(fn ? fn : L""), args, keys, path.Valid() && fn && *fn);
}

void MacroRecorder::SetProperty(Animatable* target, const MCHAR* prop, const Arg& value) {
    hasPending_ = false;
    if (!Enabled()) return;
    const Arg path = Arg::Anim(target);
    if (!path.Valid() || !value.Valid() || !prop || !*prop) return;
    pending_ = path.Text() + MSTR(L".") + MSTR(prop) + MSTR(L" = ") + value.Text();
    hasPending_ = true;
}

void MacroRecorder::EmitScript() {
    if (!hasPending_) return;
    hasPending_ = false;
    if (!Enabled()) return;
    text_ += pending_ + MSTR(L"\n");
    for (Observer* o : std::vector<Observer*>(observers_)) o->LineEmitted(pending_);
}

void MacroRecorder::Cancel() { hasPending_ = false; }

void MacroRecorder::AddObserver(Observer* o) {
    if (o && std::find(observers_.begin(), observers_.end(), o) == observers_.end()) observers_.push_back(o);
}

void MacroRecorder::RemoveObserver(Observer* o) { std::erase(observers_, o); }

MacroRecorder* macroRecorder = new MacroRecorder();
