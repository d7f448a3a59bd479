#include "maxscript.h"

#include "script/interpreter.h"
#include "strclass.h"

BOOL ExecuteMAXScriptScript(const MCHAR* text, BOOL quietErrors, FPValue* result) {
    (void)result;
    host::script::RunOptions opt;
    opt.quiet = quietErrors != FALSE;
    host::script::RunResult r = host::script::Interpreter::Global().Run(host::ToUtf8(text ? text : L""), opt);
    return r.ok ? TRUE : FALSE;
}
