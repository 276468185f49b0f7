#pragma once

/// Reads filter sets in the ClassBench format, one filter a line, first match first:
///
///     @198.51.100.0/24  203.0.113.16/28  1024 : 65535  443 : 443  0x06/0xFF  0x0200/0x1200
///      source           destination      source ports  dest. ports  protocol  flags: may be missing
///
/// Fields stand apart by blanks or tabs; behind the flags further numbers may follow, which are left out. Empty lines
/// and lines that begin with # are skipped. The format has no action: all rules permit. The rule of filter n, counting
/// from 0, has index n. All filters of a set are of one family.
///
/// A rule names only what its filter restricts: full port ranges and protocol 0x00/0x00 are no match. Of the flags a
/// rule holds SYN without ACK (0x0200/0x1200 for TCP) and an ICMP type (type/0xff00 for ICMP); others are left out and
/// counted, so such a rule matches more than its filter does.

#include <cstddef>
#include <cstdint>
#include <istream>
#include <stdexcept>
#include <string>

#include "Orvex/OrvexAclTypes.h"
#include "Vell/AddressFamily.h"

namespace Orvex::Bench {

struct FilterSetOptions {
  /// Equal prefixes share one list object; otherwise every rule has list objects of its own.
  bool internLists = true;
  /// 0.0.0.0/0 and ::/0 are lists like others; otherwise they are absent lists. An IPv6 set that then names no prefix
  /// at all keeps the source of its first rule, which tells the family.
  bool keepAnyLists = true;
  bool readFlags = true;
};

struct FilterSet {
  Kiv::Ptr<AclConfigColl> config;
  Vell::AddressFamily family = Vell::AddressFamily::ipv4;
  std::size_t filters = 0;
  /// List objects made.
  std::size_t prefixLists = 0;
  /// Filters with flags that a rule cannot hold.
  std::size_t flagsLeftOut = 0;
};

/// what() is "FILE:LINE: error: what is wrong; what would be right".
class FilterSetError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Fails with: FilterSetError.
FilterSet readFilterSet( std::string const& path, FilterSetOptions const& options = {} );
/// `name` stands for the file in messages.
/// Fails with: FilterSetError.
FilterSet readFilterSet( std::istream& in, std::string const& name, FilterSetOptions const& options = {} );

}  // namespace Orvex::Bench
