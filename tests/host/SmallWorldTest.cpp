#include <gtest/gtest.h>

#include <iostream>
#include <vector>

#include "TableFaults.h"
#include "host/PolicyNotation.h"
#include "host/SeedRange.h"
#include "policy/AclConfigBuilder.h"
#include "policy/Normalise.h"
#include "verify/Interpreter.h"
#include "verify/LookUp.h"
#include "verify/Prover.h"

/// The prover on tables that no compiler made, in a world so small that all its packets can be tried.
///
/// Sets, rows and entries differ only in what the world's packets have: addresses 10.0.0.0-3 and one outside, and of
/// every other field the values 0 to 7, of which the upper four stand for all values above 3: ranges begin at 4 or below
/// and end at 3 or below or with the field, and masks select the two lowest bits. Of the TCP flags SYN, RST and ACK are
/// tried in all ways. Whatever is true of these packets is true of all.

namespace Orvex::Host::Test {

namespace {

using Verify::Outcome;
using Verify::Packet;
using Verify::Proof;

constexpr Vell::AddressFamily kFamily = Vell::AddressFamily::ipv4;
constexpr std::uint32_t kNetwork = 0x0A000000;

/// Which of the fields this world's rules and entries name.
struct Named {
  explicit Named( Random& random )
      : addresses( random.percent( 60 ) ), flags( random.percent( 25 ) ), combined( random.percent( 40 ) ) {
    std::vector<Field> candidates = { Field::sport, Field::dport, Field::proto, Field::fragment };
    random.shuffle( candidates );
    fields.assign( candidates.begin(), candidates.begin() + random.between( addresses ? 0 : 1, addresses ? 1 : 2 ) );
  }

  bool addresses;
  bool flags;
  bool combined;
  std::vector<Field> fields;
};

std::vector<Packet> packetsOf( Named const& named ) {
  std::vector<Packet> packets( 1 );
  auto const vary = [&]( auto const& values, auto const& set ) {
    std::vector<Packet> all;
    for ( Packet const& packet : packets )
      for ( auto const& value : values ) {
        all.push_back( packet );
        set( all.back(), value );
      }
    packets = std::move( all );
  };
  std::vector<Vell::IpGenPrefix> addresses;
  for ( std::uint32_t const address : { 1U, kNetwork, kNetwork + 1, kNetwork + 2, kNetwork + 3 } )
    addresses.emplace_back( address, 32 );
  std::vector<Vell::IpGenPrefix> const outside = { addresses.front() };
  vary( named.addresses ? addresses : outside, []( Packet& packet, auto const& value ) { packet.source = value; } );
  vary( named.addresses ? addresses : outside,
        []( Packet& packet, auto const& value ) { packet.destination = value; } );
  for ( Field const field : named.fields )
    vary( std::vector{ 0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U },
          [field]( Packet& packet, std::uint32_t value ) { packet.fields[field] = value; } );
  // Ports and flags are looked at in head fragments only, so there must be others.
  if ( packets.front().fields[Field::fragment] == 0 )
    vary( std::vector{ 0U, 4U },
          []( Packet& packet, std::uint32_t value ) { packet.fields[Field::fragment] |= value; } );
  if ( named.flags )
    vary( std::vector{ 0, 2, 4, 6, 16, 18, 20, 22 },
          []( Packet& packet, int value ) { packet.tcpFlags = static_cast<std::uint8_t>( value ); } );
  return packets;
}

class WorldMaker {
 public:
  WorldMaker( Random& random, Named const& named ) : random_( random ), named_( named ) {}

  Acl acl( std::uint32_t rules ) {
    std::vector<Rule> some;
    for ( std::uint32_t index = 1; index <= rules; ++index ) some.push_back( rule( index ) );
    Policy policy;
    policy.acls.push_back( Test::acl( "ipv4 edge", std::move( some ) ) );
    return normalised( std::move( policy ) ).acls.front();
  }

  TableCopy table( std::uint32_t rules ) {
    TableCopy made( PDData{}, shape(), {} );
    for ( bool const source : { true, false } )
      for ( std::uint32_t left = named_.addresses ? random_.between( 0, 4 ) : 0; left != 0; --left )
        made.data->pdPrefixXformEntryCollIs( PrefixXformKey( kFamily, source ) )->entryIs( { prefix(), label() } );
    for ( Field const field : named_.fields )
      if ( made.shape.ranges[field].on ) addRanges( *made.data, field );
    for ( auto const type : { ComboLabelSetType::ipv4SrcDstPrefix, ComboLabelSetType::srcDstL4Port } )
      for ( std::uint32_t left = random_.between( 0, 8 ); made.shape.combo( type ).on && left != 0; --left )
        made.data->comboEntryColl( type )->entryIs( { EncodedComboLabel( label(), label() ), label() } );
    auto const acl = made.acls->pdAclIs( PDAclKey( kFamily, libraryAclName( kFamily, "edge" ) ) );
    for ( std::uint32_t index = 1; index <= rules; ++index ) {
      auto const made1 = acl->ruleIs( AceIndex( index ) );
      made1->actionIs( actionOf( index % 2 != 0 ? DefaultAction::deny : DefaultAction::permit ) );
      for ( std::uint32_t left = random_.between( 0, 4 ); left != 0; --left ) made1->filterIs( entry() );
    }
    return made;
  }

 private:
  Rule rule( std::uint32_t index ) {
    Rule made = Test::rule( index, "" );
    if ( named_.addresses && random_.percent( 60 ) ) made.source = list();
    if ( named_.addresses && random_.percent( 60 ) ) made.destination = list();
    for ( Field const field : named_.fields )
      if ( random_.percent( 60 ) ) made.ranges[field] = { range( field ) };
    made.tcpInit = named_.flags && random_.percent( 20 );
    made.tcpEstablished = named_.flags && random_.percent( 20 );
    return made;
  }

  Verify::TableShape shape() {
    Verify::TableShape made;
    auto const on = [&] { return Verify::TableShape::Table{ true, label().value() }; };
    for ( bool const source : { true, false } )
      if ( random_.percent( 90 ) ) made.prefix( PrefixXformKey( kFamily, source ) ) = on();
    for ( Field const field : kFields )
      if ( random_.percent( 50 ) ) made.ranges[field] = on();
    if ( named_.combined ) made.combo( ComboLabelSetType::ipv4SrcDstPrefix ) = on();
    if ( named_.combined && made.ranges[Field::sport].on && made.ranges[Field::dport].on )
      made.combo( ComboLabelSetType::srcDstL4Port ) = on();
    return made;
  }

  EncodedLabel label() { return EncodedLabel( static_cast<std::uint16_t>( random_.below( 4 ) ) ); }

  Vell::IpGenPrefix prefix() {
    std::uint32_t const length = random_.oneOf( std::vector{ 0U, 30U, 31U, 31U, 32U, 32U, 32U } );
    return { length == 0 ? 0 : kNetwork + random_.between( 0, 3 ), length };
  }
  SharedPrefixList list() {
    PrefixList made;
    for ( std::uint32_t left = random_.between( 1, 2 ); left != 0; --left ) made.prefixes.push_back( prefix() );
    if ( random_.percent( 30 ) ) made.excepts.push_back( prefix() );
    return std::make_shared<PrefixList const>( std::move( made ) );
  }
  ValueRange range( Field field ) {
    std::uint32_t const first = random_.between( 0, 4 );
    if ( first == 4 || random_.percent( 20 ) ) return { first, maximumOf( field ) };
    return { first, random_.between( first, 3 ) };
  }
  void addRanges( PDData& data, Field field ) {
    for ( std::uint32_t next = random_.between( 0, 2 ); next <= 4; next += random_.between( 0, 1 ) ) {
      std::uint32_t const last = next == 4 ? maximumOf( field ) : random_.between( next, 3 );
      data.rangeEntryColl( static_cast<RangeSetType>( Kiv::enumValue( field ) ) )
          ->entryIs( { { static_cast<std::uint16_t>( next ), static_cast<std::uint16_t>( last ) }, label() } );
      next = last + 1;
    }
  }

  EncodedLabelWithMask ternary( std::uint32_t leftOutPercent ) {
    if ( random_.percent( leftOutPercent ) ) return {};
    return { label(), LabelMask( static_cast<std::uint16_t>( random_.between( 1, 3 ) ) ) };
  }
  PDAclFilter entry() {
    PDAclFilter made;
    if ( named_.addresses ) made.source = ternary( 40 );
    if ( named_.addresses ) made.destination = ternary( 40 );
    if ( named_.combined ) made.prefixCombo = ternary( 60 );
    for ( Field const field : named_.fields ) {
      if ( field == Field::sport ) made.sport = ternary( 30 );
      if ( field == Field::dport ) made.dport = ternary( 30 );
      if ( field == Field::proto ) made.proto = ternary( 30 );
      if ( field == Field::fragment ) made.fragment = ternary( 30 );
      if ( named_.combined && field == Field::dport ) made.portCombo = ternary( 60 );
    }
    if ( random_.percent( 40 ) ) made.headFragment = { EncodedLabel( random_.percent( 80 ) ? 1 : 0 ), LabelMask( 1 ) };
    if ( named_.flags && random_.percent( 40 ) )
      made.tcpFlag = random_.oneOf( std::vector{ EncodedLabelWithMask{ EncodedLabel( 2 ), LabelMask( 0x12 ) },
                                                 EncodedLabelWithMask{ EncodedLabel( 4 ), LabelMask( 0x04 ) },
                                                 EncodedLabelWithMask{ EncodedLabel( 16 ), LabelMask( 0x10 ) } } );
    return made;
  }

  Random& random_;
  Named const& named_;
};

bool differsFromTheTable( Acl const& acl, TableCopy const& table, std::vector<Packet> const& packets ) {
  return std::any_of( packets.begin(), packets.end(), [&]( Packet const& packet ) {
    return interpret( acl, packet ) != lookUp( *table.data, table.shape, libraryAclName( acl.family, acl.name ),
                                               actionOf( acl.defaultAction ), packet );
  } );
}

bool differs( Acl const& a, Acl const& b, std::vector<Packet> const& packets ) {
  return std::any_of( packets.begin(), packets.end(), [&]( Packet const& packet ) {
    return interpret( a, packet ).action != interpret( b, packet ).action;
  } );
}

void expectItIsReal( Verify::Disagreement const& found, Acl const& a, Acl const& b ) {
  EXPECT_EQ( interpret( a, found.packet ), found.a );
  EXPECT_EQ( interpret( b, found.packet ), found.b );
  EXPECT_NE( found.a.action, found.b.action );
}

}  // namespace

TEST( SmallWorld, TheProverIsRightAboutEveryTable ) {
  int equal = 0;
  int different = 0;
  SeedRange const seeds = seedRange( 2000 );
  for ( std::uint64_t seed = seeds.first; seed != seeds.first + seeds.count; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    Random random( seed );
    Named const named( random );
    WorldMaker maker( random, named );
    std::uint32_t const rules = random.between( 1, 2 );
    TableCopy const table = maker.table( rules );
    auto const packets = packetsOf( named );
    // Of some policies for the same table one is the likeliest to be equal.
    for ( int attempt = 0; attempt != 8; ++attempt ) {
      Policy policy;
      policy.acls.push_back( maker.acl( rules ) );
      Proof const proof = prove( policy, *table.data, table.shape, {} );
      bool const want = differsFromTheTable( policy.acls.front(), table, packets );
      ASSERT_EQ( proof.outcome, want ? Outcome::different : Outcome::equal ) << proof.reason << "\n"
                                                                             << textOf( policy.acls.front() );
      ++( want ? different : equal );
    }
  }
  std::cout << equal << " equal, " << different << " different\n";
  EXPECT_GT( equal, static_cast<int>( seeds.count / 40 ) );
  EXPECT_GT( different, static_cast<int>( seeds.count ) );
}

TEST( SmallWorld, TheBoxEngineIsRightAboutEveryTwoPolicies ) {
  int equal = 0;
  int different = 0;
  SeedRange const seeds = seedRange( 10000 );
  for ( std::uint64_t seed = seeds.first; seed != seeds.first + seeds.count; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    Random random( seed );
    Named const named( random );
    WorldMaker maker( random, named );
    auto const policyOf = [&] {
      Policy policy;
      policy.acls.push_back( maker.acl( random.between( 1, 4 ) ) );
      return policy;
    };
    Policy const a = policyOf();
    Policy const b = policyOf();
    auto const comparison = Verify::equal( a, b );
    bool const want = differs( a.acls.front(), b.acls.front(), packetsOf( named ) );
    ASSERT_EQ( comparison.outcome, want ? Outcome::different : Outcome::equal )
        << textOf( a.acls.front() ) << textOf( b.acls.front() );
    for ( Verify::Disagreement const& found : comparison.disagreements )
      expectItIsReal( found, a.acls.front(), b.acls.front() );
    ++( want ? different : equal );
  }
  std::cout << equal << " equal, " << different << " different\n";
  EXPECT_GT( equal, static_cast<int>( seeds.count / 20 ) );
  EXPECT_GT( different, static_cast<int>( seeds.count / 20 ) );
}

}  // namespace Orvex::Host::Test
