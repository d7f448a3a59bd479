#include <cstdarg>
#include <cstdio>
#include <vector>

#include "maxapi.h"

namespace host {

namespace {
Listener::Sink& CurrentSink() {
    static Listener::Sink* sink = new Listener::Sink();
    return *sink;
}

class DefaultPrompts : public PromptProvider {
public:
    PromptAnswer Ask(PromptButtons, const std::wstring& title, const std::wstring& text,
                     PromptAnswer defaultAnswer) override {
        Listener::WriteLine(title.empty() ? text : title + L": " + text);
        return defaultAnswer;
    }
};

PromptProvider* g_prompts = nullptr;
}  // namespace

void Listener::Write(std::string_view utf8) {
    Sink& s = CurrentSink();
    if (s) {
        s(utf8);
        return;
    }
    std::fwrite(utf8.data(), 1, utf8.size(), stdout);
    std::fflush(stdout);
}

void Listener::Write(std::wstring_view text) { Write(std::string_view(ToUtf8(text))); }

void Listener::WriteLine(std::wstring_view text) { Write(std::string_view(ToUtf8(text) + "\n")); }

void Listener::Printf(const MCHAR* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    WStr s;
    s.vprintf(fmt, args);
    va_end(args);
    Write(std::wstring_view(s.str()));
}

Listener::Sink Listener::SetSink(Sink sink) {
    Sink previous = std::move(CurrentSink());
    CurrentSink() = std::move(sink);
    return previous;
}

ListenerCapture::ListenerCapture() {
    previous_ = Listener::SetSink([this](std::string_view text) { text_ += text; });
}

ListenerCapture::~ListenerCapture() { Listener::SetSink(std::move(previous_)); }

PromptProvider* SetPromptProvider(PromptProvider* p) {
    PromptProvider* previous = g_prompts;
    g_prompts = p;
    return previous;
}

PromptProvider& Prompts() {
    static DefaultPrompts fallback;
    return g_prompts ? *g_prompts : fallback;
}

PromptAnswer ScriptedPrompts::Ask(PromptButtons buttons, const std::wstring& title, const std::wstring& text,
                                  PromptAnswer defaultAnswer) {
    asked_.push_back({buttons, title, text});
    if (answers_.empty()) return defaultAnswer;
    PromptAnswer a = answers_.front();
    answers_.erase(answers_.begin());
    return a;
}

}  // namespace host

int MessageBox(HWND owner, const MCHAR* text, const MCHAR* caption, UINT type) {
    (void)owner;
    using host::PromptAnswer;
    using host::PromptButtons;
    PromptButtons buttons = PromptButtons::Ok;
    std::vector<PromptAnswer> order{PromptAnswer::Ok};
    switch (type & 0xF) {
        case MB_OKCANCEL:
            buttons = PromptButtons::OkCancel;
            order = {PromptAnswer::Ok, PromptAnswer::Cancel};
            break;
        case MB_YESNOCANCEL:
            buttons = PromptButtons::YesNoCancel;
            order = {PromptAnswer::Yes, PromptAnswer::No, PromptAnswer::Cancel};
            break;
        case MB_YESNO:
            buttons = PromptButtons::YesNo;
            order = {PromptAnswer::Yes, PromptAnswer::No};
            break;
        default:
            break;
    }
    size_t def = (type & MB_DEFBUTTON3) ? 2 : (type & MB_DEFBUTTON2) ? 1 : 0;
    if (def >= order.size()) def = 0;
    PromptAnswer answer = order[def];
    std::wstring title = caption ? caption : L"";
    std::wstring body = text ? text : L"";
    if (GetCOREInterface()->GetQuietMode(FALSE)) {
        host::Listener::WriteLine(title.empty() ? body : title + L": " + body);
    } else {
        answer = host::Prompts().Ask(buttons, title, body, answer);
        // An answer the box does not offer counts as the default.
        bool offered = false;
        for (PromptAnswer a : order) offered |= a == answer;
        if (!offered) answer = order[def];
    }
    switch (answer) {
        case PromptAnswer::Ok: return IDOK;
        case PromptAnswer::Cancel: return IDCANCEL;
        case PromptAnswer::Yes: return IDYES;
        case PromptAnswer::No: return IDNO;
    }
    return IDOK;
}

void MessageBeep(UINT type) { (void)type; }
