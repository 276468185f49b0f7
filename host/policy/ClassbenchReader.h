#pragma once

/// Reads ClassBench filter sets, one filter a line, first match first:
///
///     @198.51.100.0/24  203.0.113.16/28  1024 : 65535  443 : 443  0x06/0xFF  0x0200/0x1200
///      source           destination      source ports  dest. ports  protocol  flags: may be missing
///
/// A file becomes one ACL, named after the file, and its n-th filter rule n. Fields stand apart by blanks or tabs; behind the
/// flags further numbers may follow, which are left out. Empty lines and lines that begin with # are skipped. All filters of
/// a file are of one family.
///
/// The format has no actions: the option says what rules do; what no filter matches is denied. Ports are taken on any
/// protocol, as two fields of the packet, and a note counts the filters that have them on a protocol without ports. A
/// protocol's mask takes any part of the number, 0 all of it.
///
/// Flags are left out and counted in a warning, as those do who measure with these sets. Honoured, they are SYN without ACK
/// of TCP (0x0200/0x1200), a type of ICMP (0x0800/0xff00), and nothing (0x0000/0x0000); a table expresses no others, and they
/// are errors.

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "input/Diagnostics.h"
#include "input/SourceFile.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

enum class ClassbenchAction : std::uint32_t {
  permit,
  deny,
  alternate  // odd rules permit, even ones deny
};

inline constexpr std::array<std::string_view, 3> kClassbenchActionNames = { "permit", "deny", "alternate" };
static_assert( kClassbenchActionNames.size() == Kiv::enumValue( ClassbenchAction::alternate ) + 1 );
constexpr std::span<std::string_view const> enumNames( ClassbenchAction ) { return kClassbenchActionNames; }

enum class ClassbenchFlags : std::uint32_t { ignore, honour };

inline constexpr std::array<std::string_view, 2> kClassbenchFlagsNames = { "ignore", "honour" };
static_assert( kClassbenchFlagsNames.size() == Kiv::enumValue( ClassbenchFlags::honour ) + 1 );
constexpr std::span<std::string_view const> enumNames( ClassbenchFlags ) { return kClassbenchFlagsNames; }

struct ClassbenchOptions {
  ClassbenchAction action = ClassbenchAction::permit;
  ClassbenchFlags flags = ClassbenchFlags::ignore;
};

/// Whether the file's first line with content begins as a filter does.
bool looksLikeClassbench( SourceFile const& file );

/// The policy that the files make together. None when the diagnostics have errors, old ones too.
std::optional<LocatedPolicy> readClassbench( std::span<std::shared_ptr<SourceFile const> const> files,
                                             ClassbenchOptions const& options, Diagnostics& diagnostics );

}  // namespace Orvex::Host
