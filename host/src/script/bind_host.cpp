// Binds the interpreter to the host's application services: listener, prompts, undo, time,
// animate mode, settings file. The scene side is in bind_scene.cpp.
#include "bind.h"

#include "hold.h"
#include "maxapi.h"
#include "script/ini_file.h"

namespace host::script {

namespace {

class HostListenerSink final : public ListenerSink {
public:
    void Write(std::string_view text) override { host::Listener::Write(text); }
};

class HostPrompts final : public PromptProvider {
public:
    script::PromptAnswer Ask(PromptKind kind, std::string_view title, std::string_view text,
                             script::PromptAnswer def) override {
        PromptButtons b = kind == PromptKind::Message ? PromptButtons::Ok
                          : kind == PromptKind::YesNo ? PromptButtons::YesNo
                                                      : PromptButtons::YesNoCancel;
        host::PromptAnswer a = host::Prompts().Ask(b, host::FromUtf8(title), host::FromUtf8(text), ToHost(def));
        switch (a) {
        case host::PromptAnswer::Ok: return script::PromptAnswer::Ok;
        case host::PromptAnswer::Cancel: return script::PromptAnswer::Cancel;
        case host::PromptAnswer::Yes: return script::PromptAnswer::Yes;
        case host::PromptAnswer::No: return script::PromptAnswer::No;
        }
        return def;
    }

private:
    static host::PromptAnswer ToHost(script::PromptAnswer a) {
        switch (a) {
        case script::PromptAnswer::Ok: return host::PromptAnswer::Ok;
        case script::PromptAnswer::Yes: return host::PromptAnswer::Yes;
        case script::PromptAnswer::No: return host::PromptAnswer::No;
        case script::PromptAnswer::Cancel: return host::PromptAnswer::Cancel;
        }
        return host::PromptAnswer::Ok;
    }
};

class HostBinding final : public ScriptHost {
public:
    int32_t SliderTime() override { return GetCOREInterface()->GetTime(); }
    bool Animating() override { return ::Animating() != FALSE; }
    void SetAnimating(bool on) override {
        if (on) AnimateOn();
        else AnimateOff();
    }
    Value ResolvePath(Interpreter& in, std::string_view path) override { return scene::ResolvePath(in, path); }
    bool ResolveGlobal(Interpreter& in, Name name, Value& out) override { return scene::ResolveGlobal(in, name, out); }
    void HoldBegin() override { theHold.Begin(); }
    void HoldAccept(std::string_view label) override { theHold.Accept(host::FromUtf8(label).c_str()); }
    void HoldSuspend() override { theHold.Suspend(); }
    void HoldResume() override { theHold.Resume(); }
    bool MaxCommand(Interpreter&, std::string_view command) override {
        std::string c(command);
        for (char& ch : c) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
        if (c == "undo") {
            theHold.Undo();
            return true;
        }
        if (c == "redo") {
            theHold.Redo();
            return true;
        }
        // `max motion mode` and the other tabs of the command panel
        static const std::pair<const char*, int> kModes[] = {
            {"create mode", TASK_MODE_CREATE}, {"modify mode", TASK_MODE_MODIFY},
            {"hierarchy mode", TASK_MODE_HIERARCHY}, {"motion mode", TASK_MODE_MOTION},
            {"display mode", TASK_MODE_DISPLAY}, {"utility mode", TASK_MODE_UTILITY}};
        for (const auto& [name, mode] : kModes) {
            if (c == name) {
                GetCOREInterface()->SetCommandPanelTaskMode(mode);
                return true;
            }
        }
        return false;
    }
    void SetRedraw(bool on) override {
        if (on) {
            if (disabled_ > 0) {
                --disabled_;
                GetCOREInterface()->EnableSceneRedraw();
            }
        } else {
            ++disabled_;
            GetCOREInterface()->DisableSceneRedraw();
        }
    }

private:
    int disabled_ = 0;
};

void Bind(Interpreter& in) {
    static HostListenerSink sink;
    static HostPrompts prompts;
    static HostBinding binding;
    in.SetListener(&sink);
    in.SetPromptProvider(&prompts);
    in.SetHost(&binding);

    in.RegisterPrimitive("getMAXIniFile", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getMAXIniFile", a, 0);
        return Value::String(host::ConfigDir() + "host.ini");
    });

    in.DefineSystemGlobal(
        "sliderTime", [](Interpreter&) { return Value::Time(GetCOREInterface()->GetTime()); },
        [](Interpreter&, const Value& v) { GetCOREInterface()->SetTime(TimeOf(v)); });
    in.DefineSystemGlobal("currentTime", [](Interpreter& in) { return Value::Time(in.CurrentTime()); });
    in.DefineSystemGlobal(
        "animationRange",
        [](Interpreter&) {
            Interval r = GetCOREInterface()->GetAnimRange();
            return Value::Interval(r.Start(), r.End());
        },
        [](Interpreter&, const Value& v) {
            if (v.tag() != Tag::Interval) throw ConversionError(v, "Interval");
            GetCOREInterface()->SetAnimRange(Interval(v.IntervalStart(), v.IntervalEnd()));
        });
    in.DefineSystemGlobal(
        "frameRate", [](Interpreter&) { return Value::Int(GetFrameRate()); },
        [](Interpreter&, const Value& v) {
            int fps = v.ToInt();
            if (fps <= 0) throw RuntimeError("frameRate must be positive, got: " + std::to_string(fps));
            SetFrameRate(fps);
        });
    in.DefineSystemGlobal("ticksPerFrame", [](Interpreter&) { return Value::Int(GetTicksPerFrame()); });
    in.DefineSystemGlobal(
        "animButtonState", [](Interpreter&) { return Value::Bool(::Animating() != FALSE); },
        [](Interpreter&, const Value& v) {
            if (v.ToBool()) AnimateOn();
            else AnimateOff();
        });

    in.RegisterPrimitive("getDir", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getDir", a, 1);
        static const std::pair<const char*, int> kDirs[] = {
            {"scene", APP_SCENE_DIR},   {"import", APP_IMPORT_DIR},     {"export", APP_EXPORT_DIR},
            {"preview", APP_PREVIEW_DIR}, {"image", APP_IMAGE_DIR},     {"plugcfg", APP_PLUGCFG_DIR},
            {"maxstart", APP_MAXSTART_DIR}, {"autoback", APP_AUTOBACK_DIR}, {"scripts", APP_SCRIPTS_DIR},
            {"startupScripts", APP_STARTUPSCRIPTS_DIR}, {"ui", APP_UI_DIR}, {"maxroot", APP_MAXROOT_DIR},
            {"temp", APP_TEMP_DIR}};
        Name n = a[0].ToName();
        for (const auto& [name, id] : kDirs)
            if (Name::Intern(name) == n) return Value::String(host::ToUtf8(GetCOREInterface()->GetDir(id)));
        throw RuntimeError("getDir: unknown folder " + a[0].Print());
    });

    // The command panel's tabs by name: `setCommandPanelTaskMode #motion` (or mode:#motion).
    static const std::pair<const char*, int> kTaskModes[] = {
        {"create", TASK_MODE_CREATE}, {"modify", TASK_MODE_MODIFY},   {"hierarchy", TASK_MODE_HIERARCHY},
        {"motion", TASK_MODE_MOTION}, {"display", TASK_MODE_DISPLAY}, {"utility", TASK_MODE_UTILITY}};
    in.RegisterPrimitive("getCommandPanelTaskMode", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getCommandPanelTaskMode", a, 0);
        const int mode = GetCOREInterface()->GetCommandPanelTaskMode();
        for (const auto& [name, id] : kTaskModes)
            if (id == mode) return Value::FromName(Name::Intern(name));
        return Value();
    });
    in.RegisterPrimitive("setCommandPanelTaskMode", [](Interpreter&, const CallArgs& a) {
        CheckArgCountRange("setCommandPanelTaskMode", a, 0, 1);
        const Value* mode = a.pos.empty() ? a.Key("mode") : &a.pos[0];
        if (!mode) throw RuntimeError("setCommandPanelTaskMode: expected mode:#create, #modify, #hierarchy, #motion, "
                                      "#display or #utility");
        Name n = mode->ToName();
        for (const auto& [name, id] : kTaskModes) {
            if (Name::Intern(name) == n) {
                GetCOREInterface()->SetCommandPanelTaskMode(id);
                return Value::Ok();
            }
        }
        throw RuntimeError("setCommandPanelTaskMode: unknown mode " + mode->Print());
    });

    scene::Bind(in);
}

const bool registered = RegisterBinder(&Bind);

}  // namespace

}  // namespace host::script
