#pragma once
// Words a person can act on for what went wrong in a capture, beside the SDK's code.

#include "tools/Json.h"

#include <cstdint>
#include <string>

// The roll's own result in a scanner data document ("KX2.ROLLFINGER.RETURNCODE"); 0
// when there is none.
int32_t RollCodeOf(const ClJson& scannerData);

// What to do better, from the roll's flags in a scanner data document, most important
// first: "rolled too fast: roll slower". Empty when no flag is set.
std::string RollAdvice(const ClJson& scannerData);

// The handle properties a scanner has, for a name it did not know.
const char* PropertyNames();
