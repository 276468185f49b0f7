/// The build of DPDK's librte_acl of the same rules, in a process of its own: `compare_rte_acl FILTERS`.
///
/// The five fields, in the order and grouping that the library's documentation gives: the protocol first, alone; then
/// addresses in words of 32 bits; then both ports in one word. Earlier rules have higher priorities. Only rte_acl_build() is
/// timed, as the kick of the compiler is: adding the rules copies them. Afterwards some packets are classified, which must
/// find the rules that the policy says. "atRest" is the memory before the build.

#include <rte_acl.h>
#include <rte_eal.h>
#include <rte_errno.h>
#include <sys/resource.h>

#include <array>
#include <iostream>
#include <string>
#include <vector>

#include "compare/NamedPolicy.h"
#include "compare/children/Facts.h"
#include "packets/BoundaryPackets.h"
#include "verify/Interpreter.h"

namespace {

using namespace Orvex;
using Host::Field;

constexpr std::uint32_t kWordBits = 32;
constexpr std::size_t kMostFields = 11;
constexpr int kCheckedPackets = 500;

RTE_ACL_RULE_DEF( Rule, kMostFields );

/// Of the family's rules: protocol, words of both addresses, both ports.
class Layout {
 public:
  explicit Layout( Vell::AddressFamily family ) : words_( family == Vell::AddressFamily::ipv4 ? 1 : 4 ) {}

  std::uint32_t words() const { return words_; }
  std::uint32_t fields() const { return 2 * words_ + 3; }
  std::size_t ruleBytes() const { return sizeof( rte_acl_rule_data ) + fields() * sizeof( rte_acl_field ); }

  rte_acl_config config() const {
    rte_acl_config config{};
    config.num_categories = 1;
    config.num_fields = fields();
    std::uint32_t offset = 0;
    std::uint8_t field = 0;
    auto const add = [&]( int type, std::uint8_t size, std::uint32_t input ) {
      config.defs[field] = { static_cast<std::uint8_t>( type ), size, field, static_cast<std::uint8_t>( input ),
                             offset };
      ++field;
      offset += size;
    };
    add( RTE_ACL_FIELD_TYPE_BITMASK, 1, 0 );
    offset = 4;
    for ( std::uint32_t word = 0; word != 2 * words_; ++word ) add( RTE_ACL_FIELD_TYPE_MASK, 4, word + 1 );
    add( RTE_ACL_FIELD_TYPE_RANGE, 2, 2 * words_ + 1 );
    add( RTE_ACL_FIELD_TYPE_RANGE, 2, 2 * words_ + 1 );
    return config;
  }

 private:
  std::uint32_t words_;
};

void setAddress( rte_acl_field* fields, std::uint32_t words, Host::SharedPrefixList const& list ) {
  for ( std::uint32_t word = 0; word != words; ++word ) {
    fields[word].value.u32 = 0;
    fields[word].mask_range.u32 = 0;
    if ( !list ) continue;
    Vell::IpGenPrefix const& prefix = list->prefixes.front();
    for ( std::uint32_t byte = 0; byte != 4; ++byte )
      fields[word].value.u32 = fields[word].value.u32 << 8 | prefix.addressByte( 4 * word + byte );
    std::uint32_t const before = word * kWordBits;
    fields[word].mask_range.u32 = prefix.length() <= before ? 0 : std::min( prefix.length() - before, kWordBits );
  }
}

void setPorts( rte_acl_field& field, Host::RangeSet const& ranges ) {
  field.value.u16 = static_cast<std::uint16_t>( ranges.empty() ? 0 : ranges.front().first );
  field.mask_range.u16 = static_cast<std::uint16_t>( ranges.empty() ? 65535 : ranges.front().last );
}

/// Nothing when a rule is no filter of five fields with one range each.
bool setRule( Rule& rule, Layout const& layout, Host::Rule const& filter, std::int32_t priority ) {
  auto const isOne = []( Host::SharedPrefixList const& list ) {
    return !list || ( list->prefixes.size() == 1 && list->excepts.empty() );
  };
  auto const& proto = filter.ranges[Field::proto];
  if ( !isOne( filter.source ) || !isOne( filter.destination ) || filter.ranges[Field::sport].size() > 1 ||
       filter.ranges[Field::dport].size() > 1 || proto.size() > 1 ||
       ( proto.size() == 1 && proto.front().first != proto.front().last ) )
    return false;
  rule = {};
  rule.data = { 1, priority, static_cast<std::uint32_t>( filter.index ) };
  rule.field[0].value.u8 = static_cast<std::uint8_t>( proto.empty() ? 0 : proto.front().first );
  rule.field[0].mask_range.u8 = proto.empty() ? 0 : 0xFF;
  setAddress( rule.field + 1, layout.words(), filter.source );
  setAddress( rule.field + 1 + layout.words(), layout.words(), filter.destination );
  setPorts( rule.field[2 * layout.words() + 1], filter.ranges[Field::sport] );
  setPorts( rule.field[2 * layout.words() + 2], filter.ranges[Field::dport] );
  return true;
}

/// A packet in the layout's offsets, in network byte order.
std::array<std::uint8_t, 40> inputOf( Verify::Packet const& packet, Layout const& layout ) {
  std::array<std::uint8_t, 40> input{};
  input[0] = static_cast<std::uint8_t>( packet.fields[Field::proto] );
  std::size_t at = 4;
  for ( Vell::IpGenPrefix const& address : { packet.source, packet.destination } )
    for ( std::uint32_t byte = 0; byte != 4 * layout.words(); ++byte ) input[at++] = address.addressByte( byte );
  for ( Field const port : { Field::sport, Field::dport } ) {
    input[at++] = static_cast<std::uint8_t>( packet.fields[port] >> 8 );
    input[at++] = static_cast<std::uint8_t>( packet.fields[port] );
  }
  return input;
}

/// Whether the build decides as the policy does, on packets half of which are aimed at a rule.
bool decidesLike( rte_acl_ctx const* context, Host::Acl const& acl, Layout const& layout ) {
  Random random( 1 );
  Host::BoundaryPackets packets( random, acl );
  for ( int left = kCheckedPackets; left != 0; --left ) {
    Verify::Packet packet = packets.next();
    packet.fields[Field::fragment] = 0;  // later ones match by rules that the five fields do not have
    auto const input = inputOf( packet, layout );
    std::uint8_t const* data = input.data();
    std::uint32_t found = 0;
    if ( rte_acl_classify( context, &data, &found, 1, 1 ) != 0 ) return false;
    if ( found != Verify::interpret( acl, packet ).rule.value_or( 0 ) ) return false;
  }
  return true;
}

int fail( std::string const& what ) {
  std::cerr << "compare_rte_acl: error: " << what << "\n";
  return 1;
}

int build( Host::Acl const& acl ) {
  Layout const layout( acl.family );
  rte_acl_param parameters{};
  parameters.name = "compare";
  parameters.socket_id = -1;
  parameters.rule_size = static_cast<std::uint32_t>( layout.ruleBytes() );
  parameters.max_rule_num = static_cast<std::uint32_t>( acl.rules.size() );
  rte_acl_ctx* const context = rte_acl_create( &parameters );
  if ( context == nullptr ) return fail( std::string( "no context: " ) + rte_strerror( rte_errno ) );
  auto priority = static_cast<std::int32_t>( acl.rules.size() );
  for ( Host::Rule const& filter : acl.rules ) {
    Rule rule;
    if ( !setRule( rule, layout, filter, priority-- ) ) return fail( "a rule is no filter of five fields" );
    if ( rte_acl_add_rules( context, reinterpret_cast<rte_acl_rule const*>( &rule ), 1 ) != 0 )
      return fail( "a rule is not taken" );
  }
  rte_acl_config const config = layout.config();
  rusage before{};
  getrusage( RUSAGE_SELF, &before );
  Bench::Stopwatch const stopwatch;
  if ( int const error = rte_acl_build( context, &config ); error != 0 )
    return fail( std::string( "not built: " ) + rte_strerror( -error ) );
  stopwatch.print();
  if ( !decidesLike( context, acl, layout ) ) return fail( "the build decides otherwise than the policy" );
  Bench::printFact( "atRest", 1024.0 * static_cast<double>( before.ru_maxrss ) );
  return 0;
}

}  // namespace

int main( int argc, char** argv ) {
  if ( argc != 2 ) return fail( "usage: compare_rte_acl FILTERS" );
  auto const policy = Bench::policyNamed( argv[1] );
  if ( !policy || policy->acls.size() != 1 ) return fail( "no filter set" );
  // Memory as it is asked for: a reserve of pages that are never touched costs nothing.
  std::array<std::string, 8> words = { "compare_rte_acl", "--no-huge",     "--no-pci", "--no-shconf",
                                       "--no-telemetry",  "--log-level=3", "-m",       "8192" };
  std::array<char*, 8> arguments{};
  for ( std::size_t at = 0; at != words.size(); ++at ) arguments[at] = words[at].data();
  if ( rte_eal_init( static_cast<int>( arguments.size() ), arguments.data() ) < 0 )
    return fail( std::string( "DPDK does not start: " ) + rte_strerror( rte_errno ) );
  return build( policy->acls.front() );
}
