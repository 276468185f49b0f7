#pragma once

/// A policy as its author thinks of it: plain values that readers fill in and that everything else reads.
///
///     Policy -> Acl -> Rule -> addresses in lists of prefixes, numbers in ranges, TCP flags; an action
///
/// A policy enters the system through normalised() (see Normalise.h), and then equal matches are written equally. What
/// a policy means is defined by the interpreter in host/verify.

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Kiv/Enumeration.h"
#include "Orvex/OrvexAclValues.h"
#include "Vell/AddressFamily.h"
#include "Vell/IpGenPrefix.h"

namespace Orvex::Host {

using Kiv::TextForm::operator<<;

/// The packet fields that are matched by ranges, in the order of the library's RangeSetType. `fragment` is the fragment
/// offset.
enum class Field : std::uint32_t { sport, dport, icmpType, proto, length, fragment, dscp, ttl };

inline constexpr std::array<std::string_view, 8> kFieldNames = { "sport",  "dport",    "icmpType", "proto",
                                                                 "length", "fragment", "dscp",     "ttl" };
inline constexpr std::size_t kFieldCount = kFieldNames.size();
static_assert( kFieldCount == Kiv::enumValue( Field::ttl ) + 1 );
constexpr std::span<std::string_view const> enumNames( Field ) { return kFieldNames; }

inline constexpr std::array<Field, kFieldCount> kFields = { Field::sport, Field::dport,  Field::icmpType,
                                                            Field::proto, Field::length, Field::fragment,
                                                            Field::dscp,  Field::ttl };

/// The greatest value that a packet can have in the field.
constexpr std::uint32_t maximumOf( Field field ) noexcept {
  constexpr std::array<std::uint32_t, kFieldCount> kMaxima = { 65535, 65535, 255, 255, 65535, 8191, 63, 255 };
  return kMaxima[Kiv::enumValue( field )];
}

/// A value for each field.
template <class Value>
class PerField {
 public:
  Value& operator[]( Field field ) { return values_[Kiv::enumValue( field )]; }
  Value const& operator[]( Field field ) const { return values_[Kiv::enumValue( field )]; }

  friend bool operator==( PerField const&, PerField const& ) = default;

 private:
  std::array<Value, kFieldCount> values_{};
};

/// Both ends included.
struct ValueRange {
  std::uint32_t first = 0;
  std::uint32_t last = 0;

  friend auto operator<=>( ValueRange const&, ValueRange const& ) = default;
};

/// The values of a field that match; without a range the field is not looked at.
using RangeSet = std::vector<ValueRange>;

/// The addresses that match: those whose longest prefix, of both kinds, is one of `prefixes`. So an excepted prefix
/// cuts a hole, which a longer prefix can fill again; a prefix of both kinds counts as one of `prefixes`. A list
/// without prefixes matches no address.
struct PrefixList {
  std::vector<Vell::IpGenPrefix> prefixes;
  std::vector<Vell::IpGenPrefix> excepts;

  friend auto operator<=>( PrefixList const&, PrefixList const& ) = default;
};

/// Null: any address. Lists are never edited once a rule has them, so that rules can share them.
using SharedPrefixList = std::shared_ptr<PrefixList const>;

/// What a rule matches and does. The lower of two rules' indices is tried first.
struct Rule {
  std::uint32_t index = 0;
  /// Unique in the ACL; left empty, it becomes the index.
  std::string name;
  OrvexActionValue action;
  SharedPrefixList source;
  SharedPrefixList destination;
  PerField<RangeSet> ranges;
  /// SYN set and ACK clear. Of the two, this one counts.
  bool tcpInit = false;
  /// ACK or RST set.
  bool tcpEstablished = false;
  /// To look at later rules too. No chip does that, so it is refused; it is here for readers to report it through the
  /// one place where policies are checked.
  bool continueRule = false;
};

/// Whether the rule names ports, ICMP types or TCP flags, which later fragments do not carry.
bool matchesHeadFragmentsOnly( Rule const& rule );

/// What happens to packets that no rule matches.
enum class DefaultAction : std::uint32_t { deny, permit };

inline constexpr std::array<std::string_view, 2> kDefaultActionNames = { "deny", "permit" };
static_assert( kDefaultActionNames.size() == Kiv::enumValue( DefaultAction::permit ) + 1 );
constexpr std::span<std::string_view const> enumNames( DefaultAction ) { return kDefaultActionNames; }

/// The same as an action of rules: drops or passes, and nothing else.
inline OrvexActionValue actionOf( DefaultAction action ) {
  OrvexActionValue value;
  value.dropEnabled = action == DefaultAction::deny;
  return value;
}

/// ACLs of the two families may have the same name; they are different ACLs.
struct Acl {
  std::string name;
  Vell::AddressFamily family = Vell::AddressFamily::ipv4;
  DefaultAction defaultAction = DefaultAction::deny;
  std::vector<Rule> rules;
};

struct Policy {
  std::vector<Acl> acls;
};

/// Same content, whether or not the lists are the same objects.
bool operator==( Rule const& a, Rule const& b );
bool operator==( Acl const& a, Acl const& b );
bool operator==( Policy const& a, Policy const& b );

/// "10.0.0.0/8"
std::string textOf( Vell::IpGenPrefix const& prefix );

}  // namespace Orvex::Host
