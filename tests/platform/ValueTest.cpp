#include "Kiv/Value.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <set>

#include "Kiv/Hash.h"

namespace {

using Kiv::strepToValue;
using Kiv::String;
using Kiv::valueToStrep;
using Kiv::TextForm::operator<<;

enum class Light : std::uint32_t { red, amber, green };
constexpr std::array<std::string_view, 3> kLightNames = { "red", "amber", "green" };
static_assert( kLightNames.size() == Kiv::enumValue( Light::green ) + 1 );
constexpr std::span<std::string_view const> enumNames( Light ) { return kLightNames; }

struct Percent {
  static constexpr std::string_view kTypeName = "Test::Percent";
  static constexpr auto fields() { return std::tuple( Kiv::Field( "value", &Percent::value ) ); }
  explicit Percent( std::uint32_t number ) : value( number ) {}
  bool operator==( Percent const& ) const = default;

  std::uint32_t value;
};

struct Signal {
  static constexpr std::string_view kTypeName = "Test::Signal";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "light", &Signal::light ), Kiv::Field( "name", &Signal::name ),
                       Kiv::Field( "lit", &Signal::lit ), Kiv::Field( "level", &Signal::level ),
                       Kiv::Field( "offset", &Signal::offset ) );
  }
  Signal( Light l, String n, bool isLit, Percent p, double o )
      : light( l ), name( std::move( n ) ), lit( isLit ), level( p ), offset( o ) {}
  bool operator==( Signal const& ) const = default;

  Light light;
  String name;
  bool lit;
  Percent level;
  double offset;
};

std::string thrownText( auto action ) {
  try {
    action();
  } catch ( Kiv::Exception const& thrown ) {
    return thrown.what();
  }
  return "nothing thrown";
}

TEST( Value, PrintsTypeAndFieldsInOrder ) {
  EXPECT_EQ(
      "Value('Test::Signal', ** {'light': green, 'name': 'north', 'lit': true, "
      "'level': Value('Test::Percent', ** {'value': 40}), 'offset': 0.5})",
      valueToStrep( Signal( Light::green, "north", true, Percent( 40 ), 0.5 ) ).view() );
}

TEST( Value, IsReadBackFromItsText ) {
  Signal const signal( Light::amber, "it's a \\ sign", false, Percent( 100 ), 1.0 / 3.0 );
  EXPECT_EQ( signal, strepToValue<Signal>( valueToStrep( signal ).view() ) );
}

TEST( Value, ParseErrorSaysWhereAndWhatIsExpected ) {
  struct Case {
    char const* want;
    char const* text;
  };
  Case const cases[] = {
      { "expected \"Value('\" at column 1", "Val" },
      { "expected \"Test::Percent\" at column 8", "Value('Test::Signal', ** {})" },
      { "expected \"value\" at column 29", "Value('Test::Percent', ** {'size': 4})" },
      { "expected a number from 0 to 4294967295 at column 37", "Value('Test::Percent', ** {'value': x})" },
      { "expected a number from 0 to 4294967295 at column 37", "Value('Test::Percent', ** {'value': -1})" },
      { "expected a number from 0 to 4294967295 at column 37", "Value('Test::Percent', ** {'value': 4294967296})" },
      { "expected \"})\" at column 38", "Value('Test::Percent', ** {'value': 4" },
      { "expected nothing more at column 40", "Value('Test::Percent', ** {'value': 4}) " },
  };
  for ( Case const& each : cases )
    EXPECT_THAT( thrownText( [&] { strepToValue<Percent>( each.text ); } ), testing::EndsWith( each.want ) );
}

TEST( Enumeration, NamesAndValuesCorrespond ) {
  EXPECT_EQ( "amber", valueToStrep( Light::amber ).view() );
  EXPECT_EQ( Light::green, Kiv::enumInstance<Light>( "green" ) );
  EXPECT_EQ( "unknown", Kiv::stringValue( static_cast<Light>( 3 ) ) );
  EXPECT_EQ( "unknown name 'blue'; known are red, amber, green",
             thrownText( [] { Kiv::enumInstance<Light>( "blue" ); } ) );
  EXPECT_THAT( thrownText( [] { strepToValue<Light>( "blue" ); } ),
               testing::EndsWith( "expected one of red, amber, green at column 1" ) );
}

TEST( Hash, NeighbouringKeysHaveUnrelatedHashes ) {
  // Hashes of sets are sums: with weak hashes, {1, 4} and {2, 3} would be alike.
  std::set<std::uint64_t> sums;
  constexpr std::uint64_t kKeys = 300;
  for ( std::uint64_t a = 0; a != kKeys; ++a )
    for ( std::uint64_t b = a + 1; b != kKeys; ++b )
      sums.insert( std::uint64_t{ Kiv::hashOf( a ) } + std::uint64_t{ Kiv::hashOf( b ) } );
  EXPECT_LE( kKeys * ( kKeys - 1 ) / 2 - 2, sums.size() );
}

TEST( ConstructorParameter, AnotherThanThatOfTheObjectThatIsThereIsRefused ) {
  Kiv::checkConstructorParameter( "_watts", 40, 40 );
  EXPECT_THAT( [] { Kiv::checkConstructorParameter( "_watts", 60, 40 ); },
               testing::ThrowsMessage<Kiv::NameInUseException>(
                   "Reinstantiating the pointer interface where constructor parameter attribute _watts has a different "
                   "value of 60 than the current value of 40 not allowed" ) );
}

}  // namespace
