/// Compiles one small policy and prints what each stage has made of it:
///
///     stages_example              every stage
///     stages_example aggregator   one of them
///
/// docs/architecture.md explains what is printed. There is no driver: the compiler stops with the request that one would
/// answer, and everything before it is there to be looked at.

#include <array>
#include <initializer_list>
#include <iostream>
#include <map>
#include <string>
#include <string_view>

#include "Brae/TimerWheel.h"
#include "Kiv/System.h"
#include "Orvex/OrvexAggregatorTypes.h"
#include "Orvex/OrvexEncoderTypes.h"
#include "Orvex/OrvexRootSm.h"
#include "Orvex/OrvexXformTypes.h"

using namespace Orvex;

namespace {

constexpr Brae::ChipId kChip( 0 );
constexpr PrefixXformKey kSource( Vell::AddressFamily::ipv4, true );
constexpr PrefixXformKey kDestination( Vell::AddressFamily::ipv4, false );
constexpr std::array kSides = { kSource, kDestination };
constexpr auto kPort = RangeSetType::dstPort;
constexpr auto kPair = ComboLabelSetType::ipv4SrcDstPrefix;
constexpr std::uint32_t kWidthBits = 3;

// The chip and the policy

/// Labels of three bits for addresses, for pairs of addresses and for destination ports; 0 stands for no label.
Kiv::Ptr<ChipHwCapability> makeCapability() {
  auto capability = Kiv::make<ChipHwCapability>( kChip );
  EncodingAttr const on( kWidthBits, EncodedLabel( 0 ) );
  for ( auto const side : kSides ) capability->prefixEncodingAttrIs( side, on );
  capability->rangeEncodingAttrIs( kPort, on );
  capability->comboEncodingAttrIs( kPair, on );
  return capability;
}

/// A "!" stands before what a list leaves out.
Kiv::Ptr<IpPrefixList> prefixes( std::initializer_list<std::string_view> texts ) {
  auto list = Kiv::make<IpPrefixList>();
  for ( std::string_view const text : texts ) {
    if ( text[0] == '!' )
      list->exceptAddrIs( Kiv::strepToValue<Vell::IpGenPrefix>( text.substr( 1 ) ) );
    else
      list->addrIs( Kiv::strepToValue<Vell::IpGenPrefix>( text ) );
  }
  return list;
}

Kiv::Ptr<AclConfigColl> makePolicy() {
  auto policy = Kiv::make<AclConfigColl>( kChip );
  auto const acl = policy->aclIs( "edge" );
  auto const addRule = [&acl]( std::uint32_t index, char const* name ) {
    auto const rule = acl->ruleByNameIs( name );
    acl->ruleByIdIs( AceIndex( index ), rule );
    return rule->ruleFilterIs();
  };
  auto const servers = prefixes( { "192.0.2.0/24" } );

  auto const office = addRule( 10, "office" );
  office->sourceIs( prefixes( { "10.0.0.0/8", "!10.1.0.0/16" } ) );
  office->destinationIs( servers );
  office->dportRangeIs( { 80, 443 } );
  auto const guests = addRule( 20, "guests" );
  guests->sourceIs( prefixes( { "10.1.0.0/16" } ) );
  guests->destinationIs( servers );
  guests->dportRangeIs( { 443, 443 } );
  auto const backup = addRule( 30, "backup" );
  backup->sourceIs( prefixes( { "10.1.0.0/16", "10.2.0.0/16" } ) );
  backup->destinationIs( prefixes( { "192.0.2.0/25" } ) );
  backup->dportRangeIs( { 400, 1000 } );
  addRule( 40, "rest" );
  return policy;
}

/// A compiler, and the snapshot that it publishes.
struct Pipeline {
  Kiv::Ptr<RootConfig> request = Kiv::make<RootConfig>( kChip );
  Kiv::Ptr<PDConfig> published = Kiv::make<PDConfig>( kChip );
  Kiv::Ptr<OrvexRootSm> root =
      orvexRootSmFactory( kChip, makeCapability(), request, Kiv::make<RootStatus>( kChip ), makePolicy(),
                          Kiv::make<Brae::ParamConfig>(), published, Kiv::make<PDStatus>( kChip ) );

  void run() const {
    request->orvexKickTimeIs( Kiv::System::currentTime() );
    auto const wheel = Brae::TimerWheel::ofThisThread();
    while ( wheel->due() ) wheel->service();
  }
  StageSmStatus const& stages() const { return *root->stageSmStatus(); }
  PDData const& snapshot() const { return *published->currPDData(); }
};

// Printing

template <class Status>
Status const& as( StageStatus const& status ) {
  return dynamic_cast<Status const&>( status );
}

/// The members of a hash map in ascending order of their keys.
template <class Map>
auto sorted( Map const& map ) {
  std::map<typename Map::Key, typename Map::Value> members;
  for ( auto member = map.begin(); member; ++member ) members.emplace( member.key(), member.value() );
  return members;
}

/// The lowest bits of a label; "*" where the mask says that a bit does not count.
std::string ternary( EncodedLabel label, LabelMask mask = LabelMask( 0xFFFF ), std::uint32_t widthBits = kWidthBits ) {
  auto const isSet = []( std::uint32_t word, std::uint32_t bit ) { return ( ( word >> bit ) & 1U ) != 0; };
  std::string text;
  for ( std::uint32_t bit = widthBits; bit-- != 0; )
    text += !isSet( mask.value(), bit ) ? '*' : isSet( label.value(), bit ) ? '1' : '0';
  return text;
}

std::string text( RangeSetElem range ) {
  std::string const first = std::to_string( range.first() );
  return range.first() == range.last() ? first : first + '-' + std::to_string( range.last() );
}

std::string_view sideName( PrefixXformKey side ) { return side.src() ? "source" : "destination"; }

void printLabelLists( std::string_view what, XformStatus const& xform ) {
  for ( auto const& [key, list] : sorted( xform.plainLabelListMap()->plainLabelList() ) ) {
    std::cout << what << " set " << key.value() << ": labels";
    for ( PlainLabel const label : list->label() ) std::cout << ' ' << label.value();
    std::cout << '\n';
  }
}

void printEncoding( std::string_view what, EncoderStatus const& encoder ) {
  std::cout << what << " labels:";
  for ( auto const& [plain, encoded] : sorted( encoder.plainToEncodedLabel() ) )
    std::cout << "  " << plain.value() << " -> " << ternary( encoded );
  std::cout << '\n';
  for ( auto const& [key, list] : sorted( encoder.encodedLabelList() ) ) {
    std::cout << what << " set " << key.value() << ':';
    for ( auto const& entry : list->encLabelAndMask() ) std::cout << ' ' << ternary( entry.label, entry.mask );
    std::cout << '\n';
  }
}

// The stages

void printAggregator( Pipeline const& pipeline ) {
  auto const& status = as<AggregatorStatus>( *pipeline.stages().aggregatorStatus() );
  for ( auto const side : kSides )
    for ( auto const& [key, set] : sorted( status.prefixInfo().find( side )->prefixSetColl() ) ) {
      std::cout << sideName( side ) << " set " << key.value() << ':';
      for ( auto const& member : set->prefix() ) std::cout << ' ' << member;
      for ( auto const& member : set->exceptPrefix() ) std::cout << " except " << member;
      std::cout << '\n';
    }
  for ( auto const& [key, set] : sorted( status.rangeSplitInfo().find( kPort )->rangeSetColl() ) ) {
    std::cout << "port set " << key.value() << ':';
    for ( auto const range : set->range() ) std::cout << ' ' << text( range );
    std::cout << '\n';
  }
  for ( auto rule = status.aclGenSetIpRuleList().find( "edge" )->genSetIpRuleById().begin(); rule; ++rule )
    std::cout << "rule " << rule.key().value() << ": source " << rule.value()->source().value() << ", destination "
              << rule.value()->destination().value() << ", port " << rule.value()->dport().value() << '\n';
}

void printPrefixXform( Pipeline const& pipeline ) {
  for ( auto const side : kSides ) {
    auto const& status = as<PrefixXformStatus>( *pipeline.stages().prefixXformStatus().find( side ) );
    for ( auto const& [piece, label] : status.prefixToLabelMap() )
      std::cout << sideName( side ) << ' ' << piece << ": label " << label.value() << '\n';
    printLabelLists( sideName( side ), status );
  }
}

void printRangeSplit( Pipeline const& pipeline ) {
  auto const& status = as<RangeSplitStatus>( *pipeline.stages().rangeSplitStatus().find( kPort ) );
  for ( auto const& [piece, label] : status.rangeToPlainLabelMap() )
    std::cout << "port " << text( piece ) << ": label " << label.value() << '\n';
  printLabelLists( "port", status );
}

void printResolver( Pipeline const& pipeline ) {
  auto const& status = as<ComboLabelResolverStatus>( *pipeline.stages().comboLabelResolverStatus().find( kPair ) );
  for ( auto const& [keys, key] : sorted( status.comboLabelInfo()->srcDstToComboMap() ) ) {
    std::cout << "source set " << keys.src.value() << ", destination set " << keys.dst.value() << ": pair set "
              << key.value() << ':';
    for ( auto const& pair : status.comboLabelInfo()->comboLabelSetColl().find( key )->comboLabel() )
      std::cout << " (" << pair.srcLabel.value() << ',' << pair.dstLabel.value() << ')';
    std::cout << '\n';
  }
}

void printComboSplit( Pipeline const& pipeline ) {
  auto const& status = as<ComboLabelSplitStatus>( *pipeline.stages().comboLabelSplitStatus().find( kPair ) );
  for ( auto const& [pair, label] : status.comboToPlainLabelMap() )
    std::cout << "pair (" << pair.srcLabel.value() << ',' << pair.dstLabel.value() << "): label " << label.value()
              << '\n';
  printLabelLists( "pair", status );
}

void printEncoders( Pipeline const& pipeline ) {
  StageSmStatus const& stages = pipeline.stages();
  for ( auto const side : kSides )
    printEncoding( sideName( side ), as<EncoderStatus>( *stages.prefixEncoderStatus().find( side ) ) );
  printEncoding( "port", as<EncoderStatus>( *stages.rangeEncoderStatus().find( kPort ) ) );
  printEncoding( "pair", as<EncoderStatus>( *stages.comboLabelEncoderStatus().find( kPair ) ) );
}

void printField( std::string_view name, EncodedLabelWithMask entry ) {
  std::uint32_t const widthBits = name == "headFragment" ? 1 : kWidthBits;
  if ( entry.mask != LabelMask() ) std::cout << ' ' << name << ' ' << ternary( entry.label, entry.mask, widthBits );
}

void printRuleExpander( Pipeline const& pipeline ) {
  auto const acl = pipeline.snapshot().pdAclColl()->pdAcl().find( PDAclKey( kSource.af(), "edge" ) );
  for ( auto const& [index, rule] : acl->rule() )
    for ( PDAclFilter const& entry : rule->filter() ) {
      std::cout << "rule " << index.value() << ':';
      std::apply( [&entry]( auto const&... field ) { ( printField( field.name, entry.*field.getter ), ... ); },
                  PDAclFilter::fields() );
      std::cout << '\n';
    }
}

void printLoader( Pipeline const& pipeline ) {
  PDData const& snapshot = pipeline.snapshot();
  for ( auto const side : kSides )
    for ( auto const& [prefix, entry] : snapshot.pdPrefixXformEntryColl().find( side )->entry() )
      std::cout << sideName( side ) << ' ' << prefix << " -> " << ternary( entry.value ) << '\n';
  for ( auto const& [range, entry] : snapshot.pdDstPortXformEntryColl()->entry() )
    std::cout << "port " << text( range ) << " -> " << ternary( entry.value ) << '\n';
  for ( auto const& [pair, entry] : snapshot.pdV4PrefixComboEntryColl()->entry() )
    std::cout << "pair (" << ternary( pair.srcLabel ) << ',' << ternary( pair.dstLabel ) << ") -> "
              << ternary( entry.value ) << '\n';
  std::cout << "request to the driver: " << pipeline.published->pdResourceConfig().requestState << '\n';
}

struct Stage {
  std::string_view name;
  void ( *print )( Pipeline const& );
};

constexpr std::array<Stage, 8> kStages = { { { "aggregator", printAggregator },
                                             { "prefixXform", printPrefixXform },
                                             { "rangeSplit", printRangeSplit },
                                             { "comboLabelResolver", printResolver },
                                             { "comboLabelSplit", printComboSplit },
                                             { "encoders", printEncoders },
                                             { "ruleExpander", printRuleExpander },
                                             { "loader", printLoader } } };

}  // namespace

int main( int argc, char** argv ) {
  std::string_view const wanted = argc > 1 ? argv[1] : "";
  Pipeline const pipeline;
  pipeline.run();
  bool found = false;
  for ( Stage const& stage : kStages ) {
    if ( !wanted.empty() && wanted != stage.name ) continue;
    if ( wanted.empty() ) std::cout << stage.name << '\n';
    stage.print( pipeline );
    found = true;
  }
  if ( !found ) std::cerr << "no stage " << wanted << '\n';
  return found ? 0 : 2;
}
