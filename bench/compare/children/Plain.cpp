#include <array>
#include <bit>
#include <set>
#include <vector>

#include "compare/children/Facts.h"
#include "compare/children/Roles.h"
#include "pipeline/PlainExpansion.h"

namespace Orvex::Bench {

namespace {

using Host::Field;
using Vell::IpGenPrefix;

/// Source, destination and the fields that filter sets have: ports, protocol, head fragment.
struct Entry {
  struct Number {
    std::uint32_t value = 0;
    std::uint32_t mask = 0;
  };
  IpGenPrefix source;
  IpGenPrefix destination;
  Number sport;
  Number dport;
  Number proto;
  bool headFragment = false;
};

std::uint64_t bitsOf( Entry::Number const& number ) {
  return static_cast<std::uint64_t>( std::bit_width( number.mask ) );
}

std::vector<Entry::Number> blocksOf( Host::RangeSet const& ranges, Field field ) {
  if ( ranges.empty() ) return { {} };
  std::uint32_t const all = Host::maximumOf( field );
  std::vector<Entry::Number> blocks;
  for ( Host::ValueRange const& range : ranges )
    for ( std::uint64_t first = range.first; first <= range.last; ) {
      std::uint64_t const largest = std::bit_floor( range.last - first + 1 );
      std::uint64_t const size = first == 0 ? largest : std::min( largest, first & ~( first - 1 ) );
      blocks.push_back( { static_cast<std::uint32_t>( first ), all & ~static_cast<std::uint32_t>( size - 1 ) } );
      first += size;
    }
  return blocks;
}

IpGenPrefix prefixOf( Host::SharedPrefixList const& list, Vell::AddressFamily family ) {
  return list ? list->prefixes.front() : IpGenPrefix::defaultRoute( family );
}

void expand( Host::Rule const& rule, Vell::AddressFamily family, std::vector<Entry>& entries ) {
  Entry entry;
  entry.source = prefixOf( rule.source, family );
  entry.destination = prefixOf( rule.destination, family );
  entry.headFragment = matchesHeadFragmentsOnly( rule );
  auto const dports = blocksOf( rule.ranges[Field::dport], Field::dport );
  auto const protos = blocksOf( rule.ranges[Field::proto], Field::proto );
  for ( Entry::Number const& sport : blocksOf( rule.ranges[Field::sport], Field::sport ) )
    for ( Entry::Number const& dport : dports )
      for ( Entry::Number const& proto : protos ) {
        entry.sport = sport;
        entry.dport = dport;
        entry.proto = proto;
        entries.push_back( entry );
      }
}

/// The bits of each field that some entry looks at.
std::uint64_t keyBits( std::vector<Entry> const& entries ) {
  std::array<std::uint64_t, 6> most{};
  for ( Entry const& entry : entries ) {
    std::array<std::uint64_t, 6> const bits = { entry.source.length(), entry.destination.length(),
                                                bitsOf( entry.sport ), bitsOf( entry.dport ),
                                                bitsOf( entry.proto ), entry.headFragment ? 1U : 0U };
    for ( std::size_t at = 0; at != most.size(); ++at ) most[at] = std::max( most[at], bits[at] );
  }
  std::uint64_t sum = 0;
  for ( std::uint64_t const bits : most ) sum += bits;
  return sum;
}

double wideProduct( Host::Rule const& rule ) {
  // Four factors of at most 2^32 each: addresses of both sides, and ports; the others are at most 2^9 together.
  using Wide = unsigned __int128;
  Wide entries = Wide{ Host::plainEntries( rule.source ) } * Host::plainEntries( rule.destination );
  for ( Field const field : Host::kFields ) entries *= Host::plainEntries( rule.ranges[field] );
  return static_cast<double>( entries );
}

}  // namespace

void describe( Host::Policy const& policy ) {
  std::size_t rules = 0;
  bool ipv6 = false;
  std::set<IpGenPrefix> sources;
  std::set<IpGenPrefix> destinations;
  auto const add = []( std::set<IpGenPrefix>& prefixes, Host::SharedPrefixList const& list ) {
    if ( list ) prefixes.insert( list->prefixes.begin(), list->prefixes.end() );
  };
  for ( Host::Acl const& acl : policy.acls ) {
    rules += acl.rules.size();
    ipv6 = ipv6 || acl.family == Vell::AddressFamily::ipv6;
    for ( Host::Rule const& rule : acl.rules ) {
      add( sources, rule.source );
      add( destinations, rule.destination );
    }
  }
  printFact( "rules", static_cast<double>( rules ) );
  printFact( "ipv6", ipv6 ? 1 : 0 );
  printFact( "sources", static_cast<double>( sources.size() ) );
  printFact( "destinations", static_cast<double>( destinations.size() ) );
}

void expandPlainly( Host::Policy const& policy ) {
  Stopwatch const stopwatch;
  std::vector<Entry> entries;
  for ( Host::Acl const& acl : policy.acls )
    for ( Host::Rule const& rule : acl.rules ) expand( rule, acl.family, entries );
  stopwatch.print();
  printFact( "entries", static_cast<double>( entries.size() ) );
  printFact( "keyBits", static_cast<double>( keyBits( entries ) ) );
}

void countPlainly( Host::Policy const& policy ) {
  double entries = 0;
  for ( Host::Acl const& acl : policy.acls )
    for ( Host::Rule const& rule : acl.rules ) entries += wideProduct( rule );
  printFact( "entries", entries );
}

}  // namespace Orvex::Bench
