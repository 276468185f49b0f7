#include "policy/AclConfigBuilder.h"

#include <algorithm>
#include <unordered_map>

#include "Kiv/Exception.h"

namespace Orvex::Host {

namespace {

Kiv::Ptr<IpPrefixList> libraryList( PrefixList const& list ) {
  auto result = Kiv::make<IpPrefixList>();
  for ( Vell::IpGenPrefix const& prefix : list.prefixes ) result->addrIs( prefix );
  for ( Vell::IpGenPrefix const& prefix : list.excepts ) result->exceptAddrIs( prefix );
  return result;
}

/// The library's form of each list.
class LibraryLists {
 public:
  Kiv::Ptr<IpPrefixList> of( SharedPrefixList const& list ) {
    if ( !list ) return nullptr;
    Kiv::Ptr<IpPrefixList>& known = lists_[list.get()];
    if ( !known ) known = libraryList( *list );
    return known;
  }

  Kiv::Ptr<IpPrefixList> const& ofAnyIpv6() {
    if ( !anyIpv6_ ) anyIpv6_ = libraryList( { { Vell::IpGenPrefix::defaultRoute( Vell::AddressFamily::ipv6 ) }, {} } );
    return anyIpv6_;
  }

 private:
  std::unordered_map<PrefixList const*, Kiv::Ptr<IpPrefixList>> lists_;
  Kiv::Ptr<IpPrefixList> anyIpv6_;
};

void addRange( RuleFilter& filter, Field field, ValueRange range ) {
  switch ( field ) {
    case Field::sport:
      return filter.sportRangeIs( { range.first, range.last } );
    case Field::dport:
      return filter.dportRangeIs( { range.first, range.last } );
    case Field::icmpType:
      return filter.icmpTypeIs( { range.first, range.last } );
    case Field::proto:
      return filter.protoIs( { range.first, range.last } );
    case Field::length:
      return filter.lengthIs( { range.first, range.last } );
    case Field::fragment:
      return filter.fragmentIs( { range.first, range.last } );
    case Field::dscp:
      return filter.dscpIs( { range.first, range.last } );
    case Field::ttl:
      return filter.ttlIs( { range.first, range.last } );
  }
}

void buildRule( Rule const& rule, AclConfig& acl, LibraryLists& lists ) {
  auto const config = acl.ruleByNameIs( rule.name );
  config->actionIs( rule.action );
  RuleFilter& filter = *config->ruleFilterIs();
  filter.sourceIs( lists.of( rule.source ) );
  filter.destinationIs( lists.of( rule.destination ) );
  for ( Field const field : kFields )
    for ( ValueRange const range : rule.ranges[field] ) addRange( filter, field, range );
  filter.matchTcpInitIs( rule.tcpInit );
  filter.matchTcpEstablishedIs( rule.tcpEstablished );
  acl.ruleByIdIs( AceIndex( rule.index ), config );
}

bool namesPrefix( Rule const& rule ) { return rule.source || rule.destination; }

}  // namespace

Kiv::String libraryAclName( Vell::AddressFamily family, std::string_view name ) {
  return Kiv::String( Kiv::stringValue( family ) ) + Kiv::String( "/" ) + Kiv::String( name );
}

std::pair<Vell::AddressFamily, std::string> userAclName( Kiv::String const& libraryName ) {
  std::string_view const text = libraryName.view();
  std::size_t const slash = text.find( '/' );
  if ( slash == std::string_view::npos ) throw Kiv::ParseException( "an ACL's name in the library is FAMILY/NAME", 1 );
  return { Vell::AddressFamilyInstance( Kiv::String( text.substr( 0, slash ) ) ),
           std::string( text.substr( slash + 1 ) ) };
}

void buildAclConfig( Policy const& policy, AclConfigColl& config ) {
  LibraryLists lists;
  for ( Acl const& acl : policy.acls ) {
    if ( acl.rules.empty() ) continue;
    auto const built = config.aclIs( libraryAclName( acl.family, acl.name ) );
    for ( Rule const& rule : acl.rules ) buildRule( rule, *built, lists );
    if ( acl.family == Vell::AddressFamily::ipv6 && std::none_of( acl.rules.begin(), acl.rules.end(), namesPrefix ) )
      built->ruleByName().find( acl.rules.front().name )->ruleFilter()->sourceIs( lists.ofAnyIpv6() );
  }
}

}  // namespace Orvex::Host
