// The macro recorder: what the user does, written as script lines that the host's
// interpreter runs back.
//
// A recording is one call, composed with FunctionCall, MethodCall or SetProperty and written
// by EmitScript as one line at the end of the recorder's text; a new composition replaces one
// that was not emitted. Arguments are written the script's way: numbers, true/false, quoted
// strings, points ([1,2,3]), #names, frames ("10f"), and nodes and tracks by their script path: `$Hand`,
// `$'Left Hand'`, `$Hand.controller.Links.controller` (sub-anims by script name, by index when
// a name is ambiguous; a node whose name is not unique or cannot be quoted is
// `(maxOps.getNodeByHandle 12)`). An object without a path (not in the scene) drops the call.
//
// Nothing is recorded while the recorder is disabled. Enable and Disable nest, and the
// interpreter disables it while a script runs: only what the user does from the panels is
// recorded, not what scripts do. The headless text is kept here; the Qt frame's listener
// shows it in its macro recorder area (through an observer).
#pragma once

#include <initializer_list>
#include <vector>

#include "maxtypes.h"
#include "point3.h"
#include "strclass.h"

class Animatable;

class MacroRecorder {
public:
    // An argument, already written as script text.
    class Arg {
    public:
        Arg(int v);
        Arg(float v);
        Arg(bool v);
        Arg(const MCHAR* string);
        Arg(const Point3& p);
        static Arg Name(const MCHAR* name);
        // A time as frames ("12f"); fractions of a frame as ticks ("1930t").
        static Arg Time(TimeValue t);
        // The script path of a node or a track in the scene.
        static Arg Anim(Animatable* anim);
        const MSTR& Text() const { return text_; }
        // False for an object without a path.
        bool Valid() const { return valid_; }

    private:
        Arg() = default;
        MSTR text_;
        bool valid_ = true;
    };
    struct KeyArg {
        const MCHAR* name;
        Arg value;
    };

    // Told of every emitted line (without its line end).
    class Observer {
    public:
        virtual ~Observer() = default;
        virtual void LineEmitted(const MSTR& line) = 0;
    };

    void Enable();
    void Disable();
    BOOL Enabled() const { return disabled_ == 0; }

    // `fn a b key:v`; with no arguments `fn()`.
    void FunctionCall(const MCHAR* fn, std::initializer_list<Arg> args = {}, std::initializer_list<KeyArg> keys = {});
    // `<path of target>.fn a b key:v`: a published function of the target's interfaces.
    void MethodCall(Animatable* target, const MCHAR* fn, std::initializer_list<Arg> args = {},
                    std::initializer_list<KeyArg> keys = {});
    // `<path of target>.prop = v`.
    void SetProperty(Animatable* target, const MCHAR* prop, const Arg& value);
    // Writes the composed call as a line; nothing without one or while disabled.
    void EmitScript();
    void Cancel();

    // Every line emitted so far, each ending in "\n".
    const MSTR& Text() const { return text_; }
    void ClearText() { text_ = MSTR(); }

    void AddObserver(Observer* o);
    void RemoveObserver(Observer* o);

private:
    void Compose(MSTR head, std::initializer_list<Arg> args, std::initializer_list<KeyArg> keys, bool valid);

    int disabled_ = 0;
    MSTR pending_;
    bool hasPending_ = false;
    MSTR text_;
    std::vector<Observer*> observers_;
};

// The host's recorder; never null.
extern MacroRecorder* macroRecorder;
