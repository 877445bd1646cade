#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace QfnTest {

// Turns bytes into a script of the language that parses, ends after a bounded number of steps,
// keeps its values small and reaches nothing outside the process: variables, literals, member and
// index access, assignments, operators, conditionals, counted loops, functions (one of them
// recursive to a bounded depth), built-ins and tick(k, v), a function that counts and writes the
// evaluations of the operand it wraps. The same bytes give the same script; once the bytes run out
// every choice takes its simplest option.
std::string generateScript(const uint8_t* data, size_t size);

}  // namespace QfnTest
