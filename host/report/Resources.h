#pragma once

/// The page's style sheet and script, report.css and report.js, built into the program; and their hashes, by which the page
/// admits them ("sha256-..." of Content Security Policy).

#include <string_view>

namespace Orvex::Host {

extern std::string_view const kStyle;
extern std::string_view const kStyleHash;
extern std::string_view const kScript;
extern std::string_view const kScriptHash;

}  // namespace Orvex::Host
