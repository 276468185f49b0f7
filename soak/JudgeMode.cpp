#include <z3++.h>

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "Modes.h"
#include "PacketFormulas.h"
#include "ProvedTable.h"
#include "RandomEdit.h"
#include "RandomPolicy.h"
#include "TableFaults.h"
#include "packets/PacketJson.h"
#include "policy/AclConfigBuilder.h"
#include "verify/Interpreter.h"
#include "verify/LookUp.h"

namespace Orvex::Soak {

namespace {

using Host::Test::TableCopy;
using Host::Test::TableFault;
using Verify::Outcome;
using Verify::Packet;
using Verify::Verdict;

/// Of the solver's own steps, so that equal cases come to equal ends on any machine.
constexpr unsigned kMostSteps = 50'000'000;

PDAclKey keyOf( Host::Acl const& acl ) { return { acl.family, Host::libraryAclName( acl.family, acl.name ) }; }

std::set<PDAclKey> aclsOf( Host::Policy const& policy ) {
  std::set<PDAclKey> keys;
  for ( Host::Acl const& acl : policy.acls ) keys.insert( keyOf( acl ) );
  return keys;
}

/// What the solver says about a question: a packet about which the two sides disagree, or that there is none.
struct Judgement {
  Outcome outcome = Outcome::equal;
  /// With "different".
  Host::Acl const* acl = nullptr;
  Packet packet;
  /// With "undecided".
  std::string reason;
};

/// Asks whether a packet makes the formulas unequal.
std::optional<Packet> packetThatDiffers( z3::context& context, PacketFormulas const& formulas, z3::expr const& a,
                                         z3::expr const& b, Judgement& judgement ) {
  z3::solver solver( context, "QF_BV" );
  z3::params limits( context );
  limits.set( "rlimit", kMostSteps );
  solver.set( limits );
  solver.add( a != b );
  switch ( solver.check() ) {
    case z3::sat:
      return formulas.packetIn( solver.get_model() );
    case z3::unknown:
      judgement.outcome = Outcome::undecided;
      judgement.reason = solver.reason_unknown();
      break;
    case z3::unsat:
      break;
  }
  return std::nullopt;
}

/// `other( formulas, acl )` is the other side's formula for the ACL.
template <class Other>
Judgement judged( Host::Policy const& policy, Sameness sameness, Other const& other ) {
  Judgement judgement;
  for ( Host::Acl const& acl : policy.acls ) {
    z3::context context;
    PacketFormulas formulas( context, acl.family, sameness );
    z3::expr const want = formulas.verdictOf( acl );
    z3::expr const have = other( formulas, acl );
    auto const packet = packetThatDiffers( context, formulas, want, have, judgement );
    if ( packet ) return { Outcome::different, &acl, *packet, "" };
  }
  return judgement;
}

class Judge {
 public:
  Judge( Case& one, Host::ChipProfile const& profile ) : one_( one ), profile_( profile ) {}

  /// The prover's answer about policy and table.
  void checkTable( std::string const& question, Host::Policy const& policy, TableCopy const& table ) {
    auto const proof = prove( policy, *table.data, table.shape, table.defaults );
    if ( hasOtherAcls( table, aclsOf( policy ) ) )
      return compare( question, { Outcome::different, nullptr, {}, "an ACL more" }, proof.outcome, proof.reason,
                      policy );
    Judgement const judgement =
        judged( policy, Sameness::ofRule, [&]( PacketFormulas& formulas, Host::Acl const& acl ) {
          return formulas.verdictOf( *table.data, table.shape, table.defaults, keyOf( acl ) );
        } );
    if ( judgement.outcome == Outcome::different &&
         interpret( *judgement.acl, judgement.packet ) == verdictOf( table, *judgement.acl, judgement.packet ) )
      fail( question + ": the packet of the second judge makes no difference: " + textOf( judgement ), policy );
    compare( question, judgement, proof.outcome, proof.reason, policy );
  }

  /// The answer about two policies, for which only actions count.
  void checkPolicies( std::string const& question, Host::Policy const& a, Host::Policy const& b ) {
    if ( aclsOf( a ) != aclsOf( b ) ) return one_.tally.add( question + ": not asked, other ACLs" );
    Judgement const judgement = judged( a, Sameness::ofAction, [&]( PacketFormulas& formulas, Host::Acl const& acl ) {
      return formulas.verdictOf( aclLike( b, acl ) );
    } );
    if ( judgement.outcome == Outcome::different &&
         interpret( *judgement.acl, judgement.packet ).action ==
             interpret( aclLike( b, *judgement.acl ), judgement.packet ).action )
      fail( question + ": the packet of the second judge makes no difference: " + textOf( judgement ), a );
    auto const comparison = Verify::equal( a, b );
    compare( question, judgement, comparison.outcome, comparison.reason, a );
  }

 private:
  static bool hasOtherAcls( TableCopy const& table, std::set<PDAclKey> const& known ) {
    return std::any_of( table.defaults.begin(), table.defaults.end(),
                        [&]( auto const& each ) { return !known.contains( each.first ); } );
  }

  static Host::Acl const& aclLike( Host::Policy const& policy, Host::Acl const& acl ) {
    return *std::find_if( policy.acls.begin(), policy.acls.end(),
                          [&]( Host::Acl const& each ) { return each.family == acl.family && each.name == acl.name; } );
  }

  static Verdict verdictOf( TableCopy const& table, Host::Acl const& acl, Packet const& packet ) {
    PDAclKey const key = keyOf( acl );
    auto const given = table.defaults.find( key );
    auto const onMiss = given == table.defaults.end() ? Host::DefaultAction::deny : given->second;
    return lookUp( *table.data, table.shape, key.aclName, Host::actionOf( onMiss ), packet );
  }

  static std::string textOf( Judgement const& judgement ) {
    return judgement.acl ? Host::packetJson( judgement.acl->name, judgement.packet ) : judgement.reason;
  }

  void compare( std::string const& question, Judgement const& judgement, Outcome outcome, std::string const& reason,
                Host::Policy const& policy ) {
    std::string const judges( Kiv::stringValue( judgement.outcome ) );
    std::string const provers( Kiv::stringValue( outcome ) );
    if ( outcome == judgement.outcome && outcome != Outcome::undecided )
      return one_.tally.add( question + ": both say " + provers );
    bool const isExcused = judgement.outcome == Outcome::undecided || isUndecidable( outcome, reason );
    if ( !isExcused )
      fail( question + ": the prover says " + provers + " (" + reason + "), the second judge " + judges + " (" +
                textOf( judgement ) + ")",
            policy );
    one_.tally.add( question + ": the prover says " + provers + ", the second judge " + judges +
                    ( judgement.reason.empty() ? "" : ": " + judgement.reason ) );
  }

  /// A range that a fault lets overlap another gives a value two labels, which no table may have: of these tables alone
  /// the prover says nothing.
  static bool isUndecidable( Outcome outcome, std::string const& reason ) {
    return outcome == Outcome::undecided && reason.find( "table has two labels for value" ) != std::string::npos;
  }

  [[noreturn]] void fail( std::string const& problem, Host::Policy const& policy ) const {
    throw Failure( problem, policy, profile_ );
  }

  Case& one_;
  Host::ChipProfile const& profile_;
};

}  // namespace

void judgeCase( Case& one ) {
  Host::Test::RandomPolicyOptions const shape{ 1, 6, 4, 2, 15 };
  Host::Policy const policy = Host::Test::randomPolicy( one.random, shape );
  Host::Policy const edited = Host::Test::edited( one.random, policy, Host::Test::randomPolicy( one.random, shape ) );
  ProvedTable const proved = provedTable( policy, one );
  TableCopy table( *proved.snapshot, shapeOf( proved.chip->profile() ), Host::defaultActionsOf( policy ) );
  Judge judge( one, proved.chip->profile() );
  judge.checkTable( "compiled table", policy, table );
  judge.checkTable( "table of another version", edited, table );
  judge.checkPolicies( "two versions", policy, edited );
  auto const fault = static_cast<TableFault>( one.number % Host::Test::kTableFaultNames.size() );
  if ( inject( table, fault, one.random ) )
    judge.checkTable( "broken table", policy, table );
  else
    one.tally.add( "broken table: not asked, nothing to break" );
}

}  // namespace Orvex::Soak
