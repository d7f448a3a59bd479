// Script errors. Every failure a script can see is a ScriptError carrying the listener text of
// the error (without the leading "-- ") and, once the evaluator has stamped it, the line and column
// of the expression that failed. Host C++ exceptions that reach the evaluator become runtime errors.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "script/value.h"

namespace host::script {

class ScriptError : public std::exception {
public:
    explicit ScriptError(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }
    // "Unknown property: \"foo\" in $Point:hip" (no "-- " prefix).
    const std::string& Message() const { return message_; }
    // The listener form: "-- " + Message().
    std::string Text() const { return "-- " + message_; }

    // 1-based position of the failing expression; 0 until stamped.
    int Line() const { return line_; }
    int Column() const { return column_; }
    bool HasPosition() const { return line_ > 0; }
    void SetPosition(int line, int column) {
        line_ = line;
        column_ = column;
    }
    // The value of `throw <message> <value>`, undefined otherwise.
    const Value& Thrown() const { return thrown_; }
    void SetThrown(Value v) { thrown_ = std::move(v); }

private:
    std::string message_;
    Value thrown_;
    int line_ = 0;
    int column_ = 0;
};

// The language's error forms. Values appear in their print form.
// "Runtime error: <text>"
ScriptError RuntimeError(std::string_view text);
// "Type error: <text>"
ScriptError TypeError(std::string_view text);
// "Type error: Call needs function or class, got: <v>"
ScriptError NotCallableError(const Value& v);
// "No ""<op>"" function for <v>"
ScriptError NoFunctionError(std::string_view op, const Value& v);
// "Unknown property: \"<prop>\" in <v>"
ScriptError UnknownPropertyError(std::string_view prop, const Value& v);
// "Argument count error: <fn> wanted <wanted>, got <got>"
ScriptError ArgCountError(std::string_view fn, int wanted, int got);
ScriptError ArgCountError(std::string_view fn, std::string_view wanted, int got);
// "Unable to convert: <v> to type: <type>"
ScriptError ConversionError(const Value& v, std::string_view type);

// Checks a primitive's positional count; throws ArgCountError naming `fn`.
void CheckArgCount(std::string_view fn, const CallArgs& args, int wanted);
void CheckArgCountRange(std::string_view fn, const CallArgs& args, int least, int most);

}  // namespace host::script
