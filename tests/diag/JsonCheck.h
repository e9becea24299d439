// A strict check of JSON text (RFC 8259 grammar, one value and nothing
// after it), so that the tests can say the explain verb's output parses.
#pragma once

#include <string>

namespace diagtest {

// False, with where and why in `error`, when `text` is not one JSON value.
bool JsonIsValid(const std::string& text, std::string& error);

}  // namespace diagtest
