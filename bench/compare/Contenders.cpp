#include <unistd.h>

#include <filesystem>

#include "compare/Contender.h"

namespace Orvex::Bench {

namespace {

using Words = std::vector<std::string>;

std::string firstLine( std::string const& text ) { return text.substr( 0, text.find( '\n' ) ); }

/// The child has timed a part of its work, and tells what came of it.
Measurement partOf( ChildResult const& child ) {
  Measurement measurement = measurementOf( child );
  if ( !measurement.failure.empty() ) return measurement;
  measurement.facts = factsOf( child.output );
  measurement.wallSeconds = measurement.facts["wall"];
  measurement.cpuSeconds = measurement.facts["cpu"];
  return measurement;
}

Contender command( Programs const& programs ) {
  return { kCommand, kCommand, "", [&programs]( ComparedSet const& set ) {
            auto const child =
                programs.run( { programs.orvex(), "compile", "-q", "--chip", programs.profile( false ), set.path } );
            Measurement measurement = measurementOf( child );
            if ( measurement.failure.empty() ) measurement.facts["entries"] = entriesIn( child.output );
            return measurement;
          } };
}

Contender role( Programs const& programs, char const* name, Words const& words ) {
  return { name, kKick, "", [&programs, words]( ComparedSet const& set ) {
            Words line = { programs.child(), words.front(), set.path };
            line.insert( line.end(), words.begin() + 1, words.end() );
            return partOf( programs.run( line ) );
          } };
}

Contender rteAcl( Programs const& programs ) {
  bool const built = std::filesystem::exists( programs.rteAcl() );
  return { kRteAcl, kKick, built ? "" : "not built: there was no libdpdk", [&programs]( ComparedSet const& set ) {
            return partOf( programs.run( { programs.rteAcl(), set.path } ) );
          } };
}

/// What lets nft have tables of its own, or why it cannot. Root alone may enlarge the buffer that large rulesets go
/// through, so root keeps its own rights where that is possible.
struct Namespace {
  Words words;
  std::string missing;
};

Namespace namespaceFor( Programs const& programs ) {
  std::vector<Words> ways = { { "unshare", "-Urn" } };
  if ( geteuid() == 0 ) ways.insert( ways.begin(), { "unshare", "-n" } );
  std::string missing;
  for ( Words& way : ways ) {
    Words line = way;
    line.insert( line.end(), { "nft", "list", "ruleset" } );
    try {
      auto const child = programs.run( line );
      if ( child.succeeded() ) return { std::move( way ), "" };
      missing = firstLine( child.errors );
    } catch ( std::system_error const& error ) {
      missing = error.what();
    }
  }
  return { {}, "not run: " + missing };
}

Contender nft( Programs const& programs, char const* name, Words const& options, Namespace const& where ) {
  return { name, kCommand, where.missing, [&programs, options, where]( ComparedSet const& set ) {
            Words line = where.words;
            line.emplace_back( "nft" );
            line.insert( line.end(), options.begin(), options.end() );
            line.push_back( set.nftPath );
            return measurementOf( programs.run( line ) );
          } };
}

}  // namespace

Measurement measurementOf( ChildResult const& child ) {
  Measurement measurement;
  measurement.wallSeconds = child.wallSeconds;
  measurement.cpuSeconds = child.cpuSeconds;
  measurement.peakBytes = child.peakBytes;
  if ( !child.succeeded() )
    measurement.failure = child.ended ? firstLine( child.errors ) : "not within the limit of time";
  if ( !child.succeeded() && measurement.failure.empty() ) measurement.failure = "failed";
  return measurement;
}

double entriesIn( std::string const& summary ) {
  std::size_t const end = summary.find( " entries" );
  if ( end == std::string::npos ) return 0;
  std::string digits;
  for ( std::size_t at = end; at != 0 && summary[at - 1] != ' '; --at )
    if ( summary[at - 1] != ',' ) digits.insert( digits.begin(), summary[at - 1] );
  return digits.empty() ? 0 : std::stod( digits );
}

std::vector<Contender> contenders( Programs const& programs ) {
  Namespace const where = namespaceFor( programs );
  return { command( programs ),
           nft( programs, kNftCheck, { "-c", "-f" }, where ),
           nft( programs, kNftLoad, { "-f" }, where ),
           role( programs, kKick, { "kick", "nested" } ),
           role( programs, kCostOrderKick, { "kick", "costOrder" } ),
           rteAcl( programs ),
           role( programs, kPlain, { "plain" } ) };
}

}  // namespace Orvex::Bench
