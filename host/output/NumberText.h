#pragma once

/// Numbers as people read them.

#include <cstdint>
#include <string>
#include <string_view>

namespace Orvex::Host {

/// "1,234,567"
std::string grouped( std::uint64_t number );
/// "1 rule", "1,234 rules", "2 prefixes"
std::string counted( std::uint64_t number, std::string_view noun );

}  // namespace Orvex::Host
