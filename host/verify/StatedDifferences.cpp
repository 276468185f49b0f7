#include "verify/StatedDifferences.h"

#include <algorithm>
#include <set>
#include <utility>

#include "policy/AclConfigBuilder.h"

namespace Orvex::Verify {

namespace {

std::string nameOf( PDAclKey const& key ) {
  return std::string( Kiv::stringValue( key.af ) ) + " ACL " + Host::userAclName( key.aclName ).second;
}

std::string textOf( bool value ) { return value ? "true" : "false"; }
std::string textOf( bool isSet, std::uint32_t value ) { return isSet ? std::to_string( value ) : "null"; }

/// The fields of an action as snapshots call them, with their values.
std::vector<std::pair<std::string, std::string>> statedIn( OrvexActionValue const& action ) {
  return { { "action.drop", textOf( action.dropEnabled ) },
           { "action.log", textOf( action.logEnabled ) },
           { "action.dscp", textOf( action.setDscpEnabled, action.dscp.value() ) },
           { "action.tc", textOf( action.setTcEnabled, action.tc.value() ) },
           { "action.sflow", textOf( action.sflowEnabled ) } };
}

class Comparison {
 public:
  void compare( Host::Acl const& acl, PDAclKey const& key, PDAclRuleColl const* table, Host::DefaultAction onMiss ) {
    compareValues( nameOf( key ) + ", default", std::string( Kiv::stringValue( acl.defaultAction ) ),
                   std::string( Kiv::stringValue( onMiss ) ) );
    std::set<std::uint32_t> left;
    if ( table )
      for ( auto const& [index, rule] : table->rule() ) left.insert( index.value() );
    for ( Host::Rule const& rule : acl.rules ) {
      std::string const name = nameOf( key ) + ", rule " + std::to_string( rule.index );
      if ( left.erase( rule.index ) == 0 )
        add( name + ": the table does not have it" );
      else
        compareActions( name, rule.action, table->rule().find( AceIndex( rule.index ) )->action() );
    }
    for ( std::uint32_t const index : left )
      add( nameOf( key ) + ", rule " + std::to_string( index ) + ": the policy does not have it" );
  }

  void add( std::string difference ) { differences_.push_back( std::move( difference ) ); }
  std::vector<std::string> result() { return std::move( differences_ ); }

 private:
  void compareActions( std::string const& rule, OrvexActionValue const& policy, OrvexActionValue const& table ) {
    if ( policy == table ) return;
    auto const wanted = statedIn( policy );
    auto const found = statedIn( table );
    for ( std::size_t at = 0; at != wanted.size(); ++at )
      compareValues( rule + ", " + wanted[at].first, wanted[at].second, found[at].second );
  }
  void compareValues( std::string const& what, std::string const& policy, std::string const& table ) {
    if ( policy != table ) add( what + ": the policy says " + policy + ", the table " + table );
  }

  std::vector<std::string> differences_;
};

}  // namespace

std::vector<std::string> statedDifferences( Host::Policy const& policy, PDData const& snapshot,
                                            DefaultActions const& defaults ) {
  Comparison comparison;
  std::set<PDAclKey> known;
  for ( Host::Acl const& acl : policy.acls ) {
    PDAclKey const key( acl.family, Host::libraryAclName( acl.family, acl.name ) );
    known.insert( key );
    auto const stated = defaults.find( key );
    if ( stated == defaults.end() ) {
      comparison.add( nameOf( key ) + ": the table does not have it" );
      continue;
    }
    auto const table = snapshot.pdAclColl() ? snapshot.pdAclColl()->pdAcl().find( key ) : nullptr;
    comparison.compare( acl, key, table.get(), stated->second );
  }
  for ( auto const& [key, action] : defaults )
    if ( !known.contains( key ) ) comparison.add( nameOf( key ) + ": the policy does not have it" );
  return comparison.result();
}

}  // namespace Orvex::Verify
