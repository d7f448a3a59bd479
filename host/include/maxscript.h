// The script interpreter as plug-ins reach it.
#pragma once

#include "maxtypes.h"

class FPValue;

// Runs `text` in the global scope of the host's interpreter. Answers TRUE when the whole text
// parsed and ran without an uncaught error. On error, the listener gets the host's report
// ("-- Syntax error: …", "-- Unknown property: …", with line and column) unless quietErrors is set;
// nothing of a text with a syntax error runs. `result`, when given, receives the value of the
// last expression (undefined on error).
BOOL ExecuteMAXScriptScript(const MCHAR* text, BOOL quietErrors = FALSE, FPValue* result = nullptr);
