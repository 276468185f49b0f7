#include <gmock/gmock.h>

#include <string>

#include "RandomPolicy.h"
#include "chip/SoftwareChip.h"
#include "host/PolicyNotation.h"
#include "host/SeedRange.h"
#include "host/TestChips.h"
#include "pipeline/Compile.h"
#include "policy/Normalise.h"
#include "report/FieldPieces.h"
#include "report/Html.h"
#include "report/PrefixTree.h"

namespace Orvex::Host::Test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

LocatedPolicy lists( std::vector<std::string> const& sources ) {
  std::vector<Rule> rules;
  for ( std::string const& source : sources )
    rules.push_back( rule( 10 * static_cast<std::uint32_t>( rules.size() + 1 ), "source " + source ) );
  return { normalised( { { acl( "ipv4 edge", std::move( rules ) ) } } ), {}, {} };
}

PrefixTree sourceTree( LocatedPolicy const& located, std::size_t most ) {
  return prefixTreeOf( located, PrefixXformKey( Vell::AddressFamily::ipv4, true ), nullptr, most );
}

/// "10.0.0.0/8 [1 of 3]: A; not B" for each chosen node, with as many ">" as there are prefixes around it; of those
/// within it so many are left out.
std::vector<std::string> linesOf( PrefixTree const& tree ) {
  std::vector<std::string> lines;
  for ( PrefixNode const& node : tree.nodes )
    if ( node.isChosen )
      lines.push_back( std::string( node.depth, '>' ) + Host::textOf( node.prefix ) + " [" +
                       std::to_string( node.leftOut ) + " of " + std::to_string( node.within ) + "]: " + node.matched +
                       ( node.excepted.empty() ? "" : "; not " + node.excepted ) );
  return lines;
}

/// As the field's table in a snapshot: "10-14 label 1".
std::vector<std::string> rowsOf( FieldPieces const& field ) {
  std::vector<std::string> rows;
  for ( FieldPiece const& piece : field.pieces )
    if ( piece.setCount != 0 )
      rows.push_back( valuesText( piece.range ) + " label " +
                      ( piece.label ? std::to_string( *piece.label ) : "none" ) );
  return rows;
}

}  // namespace

TEST( Report, NoTextBecomesMarkup ) {
  std::string page;
  HtmlWriter::Sink const sink = [&page]( std::string_view text ) { page += text; };
  HtmlWriter html( sink );
  std::string const name = "</code><script>alert('1')</script>&\"";
  html.print( "{}|{}|{}|{}", name, 7, Markup{ "<b>" }, std::string_view( "a\x01\xC2\x9B\xFF\xE2\x82\xAC" ) );
  html.flush();
  EXPECT_EQ(
      "&lt;/code&gt;&lt;script&gt;alert(&#39;1&#39;)&lt;/script&gt;&amp;&quot;|7|<b>|"
      "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xE2\x82\xAC",
      page );
}

TEST( Report, PiecesAreTheRowsOfTheChipsTables ) {
  SeedRange const seeds = seedRange( 60 );
  std::size_t rows = 0;
  for ( std::uint64_t seed = seeds.first; seed != seeds.first + seeds.count; ++seed ) {
    SCOPED_TRACE( "seed " + std::to_string( seed ) );
    Random random( seed );
    Policy const policy = randomPolicy( random );
    SoftwareChip chip( Brae::ChipId( 1 ), chipShapes()[1] );
    CompileResult const result = compile( policy, chip );
    ASSERT_TRUE( result.snapshot ) << result.message;
    for ( Field const field : kFields ) {
      std::vector<std::string> want;
      for ( auto const& [range, entry] : result.snapshot->rangeEntryColl( rangeTableOf( field ) )->entry() )
        want.push_back( valuesText( ValueRange{ range.first(), range.last() } ) + " label " +
                        std::to_string( entry.value.value() ) );
      EXPECT_EQ( want, rowsOf( piecesOf( policy, field, result.snapshot.get() ) ) ) << Kiv::stringValue( field );
      rows += want.size();
    }
  }
  EXPECT_LT( seeds.count, rows );
}

TEST( Report, PiecesReachFromNothingToTheFieldsLastValue ) {
  Policy const policy = normalised( { { acl( "ipv4 edge", { rule( 10, "dport 0-9 65535" ), rule( 20, "dport 5-20" ),
                                                            rule( 30, "dport 5-20; proto 6" ) } ) } } );
  FieldPieces const field = piecesOf( policy, Field::dport, nullptr );
  std::vector<std::string> have;
  for ( FieldPiece const& piece : field.pieces ) {
    std::string names;
    for ( std::size_t const set : piece.sets )
      names += " (" + valuesText( *field.sets[set].ranges ) + ": " + namesOf( field.sets[set].rules ) + ")";
    have.push_back( valuesText( piece.range ) + names );
  }
  EXPECT_THAT( have,
               ElementsAre( "0-4 (0-9 65535: ipv4 edge 10)", "5-9 (0-9 65535: ipv4 edge 10) (5-20: ipv4 edge 20, 30)",
                            "10-20 (5-20: ipv4 edge 20, 30)", "21-65534", "65535 (0-9 65535: ipv4 edge 10)" ) );
  EXPECT_EQ( 4U, field.heldPieces() );
}

TEST( Report, ATreeNamesTheListsOfTheInnermostPrefix ) {
  auto const located = lists( { "10.0.0.0/8 !10.1.0.0/16 10.1.2.0/24", "10.1.0.0/16", "192.0.2.0/24" } );
  EXPECT_THAT(
      linesOf( sourceTree( located, 9 ) ),
      ElementsAre( "10.0.0.0/8 [0 of 2]: edge rule 10", ">10.1.0.0/16 [0 of 1]: edge rule 20; not edge rule 10",
                   ">>10.1.2.0/24 [0 of 0]: edge rule 10, edge rule 20", "192.0.2.0/24 [0 of 0]: edge rule 30" ) );
}

TEST( Report, OfALargeTreeWhatIsLeftOutIsCountedWhereItIs ) {
  auto const located =
      lists( { "10.0.0.0/8", "10.1.0.0/16", "10.1.2.0/24", "20.0.0.0/8", "20.1.0.0/16", "30.0.0.0/8" } );
  PrefixTree const tree = sourceTree( located, 4 );
  EXPECT_THAT( linesOf( tree ),
               ElementsAre( "10.0.0.0/8 [1 of 2]: edge rule 10", ">10.1.0.0/16 [1 of 1]: edge rule 10, edge rule 20",
                            "20.0.0.0/8 [1 of 1]: edge rule 40", "30.0.0.0/8 [0 of 0]: edge rule 60" ) );
  EXPECT_EQ( 2U, tree.leftOut );
  EXPECT_THAT( linesOf( sourceTree( located, 0 ) ), IsEmpty() );
}

}  // namespace Orvex::Host::Test
