#pragma once

/// The named lists of ACL text, and what the rules that use them get.
///
/// A list may be used before it is defined, so rules note references while files are read and get the lists' content when
/// all files have been.
///
/// A list matches what its own entries match, together with what each list nested in it matches by itself: its excepts cut
/// nothing of a nested list, and those of a nested list nothing of it. Several lists in one rule are joined alike. So what
/// a rule gets is the union of all lists that can be reached from those that it names.
///
/// Refused, at each rule that reaches it: a list that is empty, which must neither widen the rule to everything nor make
/// it nothing unseen; and a prefix list whose own entries are all excepts, which cut nothing.

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "input/Diagnostics.h"
#include "policy/AclAddresses.h"
#include "policy/AclLine.h"
#include "policy/Policy.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

struct NamedList;

/// Where a rule or a list names a list.
struct ListReference {
  NamedList* list = nullptr;
  Place place;
};
using ListReferences = std::vector<ListReference>;

struct NamedList {
  std::string name;
  std::optional<Place> definition;
  // The own entries; of the two, a list uses what is of its kind.
  PrefixList addresses;
  std::vector<Place> excepts;  // of those of the addresses, in their order
  RangeSet ports;
  ListReferences nested;
  /// What is missing is known already.
  bool hasFaultyLines = false;
  /// The last search that came here.
  std::size_t visit = 0;

  bool isEmpty() const { return !hasOwnEntries() && nested.empty(); }
  bool hasOwnEntries() const { return !addresses.prefixes.empty() || !addresses.excepts.empty() || !ports.empty(); }
  bool hasOnlyExcepts() const { return addresses.prefixes.empty() && !addresses.excepts.empty(); }
};

/// All lists of one kind, by name.
class NamedLists {
 public:
  /// `kind` is for messages: "IPv4 prefix list".
  explicit NamedLists( std::string kind ) : kind_( std::move( kind ) ) {}

  /// The list of that name, which is yet to be defined when it is new.
  NamedList& at( std::string_view name );
  /// Defines the list that the line names next. Fails with: AclLineError when there is one already.
  NamedList& define( AclLine& line );
  /// Reads NAME, NAME ...
  ListReferences readReferences( AclLine& line );

  /// Where to look for a list that is missing here, for its message.
  void otherFamilyIs( NamedLists const& lists ) { otherFamily_ = &lists; }

  /// Reports nested lists that are not defined, and lists that nest in a circle.
  void checkNesting( Diagnostics& diagnostics ) const;

  /// Warns of excepts that cut nothing, as those do that are meant for a nested list.
  void checkExcepts( Diagnostics& diagnostics ) const;

  /// The lists that can be reached from the references, each once. Nothing when one is not fit to be used; the errors name
  /// the user, a rule. What checkNesting() reports is not reported again.
  std::vector<NamedList const*> reachable( ListReferences const& references, std::string const& user,
                                           Diagnostics& diagnostics );

 private:
  /// Of a walk into nested lists.
  struct Step {
    NamedList const* list = nullptr;
    std::size_t entered = 0;  // of its nested lists
  };

  bool isUsable( NamedList const& list, ListReference const& through, std::string const& user,
                 Diagnostics& diagnostics ) const;
  void reportUndefined( ListReference const& reference, Diagnostics& diagnostics ) const;
  void reportCircle( std::vector<Step> const& path, ListReference const& closing, Diagnostics& diagnostics ) const;

  std::string kind_;
  NamedLists const* otherFamily_ = nullptr;
  std::size_t visits_ = 0;
  std::deque<NamedList> lists_;  // in order of first mention
  std::map<std::string, NamedList*, std::less<>> byName_;
};

/// Prefix lists: those that lines name, and those that rules get. That equal ones become one object is left to
/// normalised().
class AclPrefixLists {
 public:
  explicit AclPrefixLists( Vell::AddressFamily family )
      : family_( family ), named_( std::string( familyName( family ) ) + " prefix list" ) {}

  NamedLists& named() noexcept { return named_; }
  /// Of a single prefix; null for the default route.
  static SharedPrefixList single( Vell::IpGenPrefix const& prefix );
  /// Of no address.
  SharedPrefixList none();
  /// What lists match together, and what each of them has.
  struct Joined {
    SharedPrefixList list;
    ListParts parts;
  };
  /// Null after errors.
  Joined joined( ListReferences const& references, std::string const& user, Diagnostics& diagnostics );
  /// Adds the names of the lists that were asked for alone.
  void addNames( PrefixListNames& names ) const;

 private:
  Vell::AddressFamily family_;
  NamedLists named_;
  SharedPrefixList none_;
  std::map<std::vector<NamedList const*>, Joined> joined_;
  std::map<NamedList const*, SharedPrefixList> own_;
};

}  // namespace Orvex::Host
