#include "chip/SnapshotJson.h"

#include <fmt/format.h>

#include <array>
#include <iterator>
#include <utility>

#include "chip/ChipProfile.h"
#include "policy/AclConfigBuilder.h"

namespace Orvex::Host {

namespace {

constexpr std::size_t kPieceBytes = 1U << 16U;

class JsonWriter {
 public:
  explicit JsonWriter( std::function<void( std::string_view )> const& sink ) : sink_( sink ) {}

  template <class... Args>
  void print( fmt::format_string<Args...> format, Args&&... args ) {
    fmt::format_to( std::back_inserter( buffer_ ), format, std::forward<Args>( args )... );
  }

  void printString( std::string_view text ) {
    print( "\"" );
    for ( char const each : text ) {
      if ( each == '"' || each == '\\' )
        print( "\\{}", each );
      else if ( static_cast<unsigned char>( each ) < 0x20 )
        print( "\\u{:04x}", static_cast<unsigned>( static_cast<unsigned char>( each ) ) );
      else
        buffer_.push_back( each );
    }
    print( "\"" );
  }

  /// Before each member of a list, each on a line of its own.
  void separate( bool& first ) {
    print( "{}\n", first ? "" : "," );
    first = false;
    if ( buffer_.size() >= kPieceBytes ) flush();
  }

  void flush() {
    sink_( { buffer_.data(), buffer_.size() } );
    buffer_.clear();
  }

 private:
  std::function<void( std::string_view )> const& sink_;
  fmt::memory_buffer buffer_;
};

class SnapshotWriter {
 public:
  SnapshotWriter( PDData const& snapshot, Verify::TableShape const& shape, JsonWriter& json )
      : snapshot_( snapshot ), shape_( shape ), json_( json ) {}

  void writePrefixTables() {
    bool first = true;
    for ( PrefixXformKey const space : kPrefixSpaces ) {
      if ( !shape_.prefix( space ).on ) continue;
      json_.separate( first );
      json_.print( R"({{"family": "{}", "side": "{}", "invalid": {}, "entries": [)", Kiv::stringValue( space.af() ),
                   space.src() ? "src" : "dst", shape_.prefix( space ).invalid );
      if ( auto const table = snapshot_.pdPrefixXformEntryColl().find( space ) )
        writeEntries( table->entry(), [this]( Vell::IpGenPrefix const& prefix ) {
          std::array<char, Vell::IpGenPrefix::kTextSize> text{};
          char const* const end = prefix.toChars( text.data() );
          json_.print( R"("prefix": "{}")",
                       std::string_view( text.data(), static_cast<std::size_t>( end - text.data() ) ) );
        } );
      json_.print( "]}}" );
    }
  }

  void writeRangeTables() {
    bool first = true;
    for ( Field const field : kFields ) {
      if ( !shape_.ranges[field].on ) continue;
      RangeSetType const type = rangeTableOf( field );
      json_.separate( first );
      json_.print( R"({{"field": "{}", "invalid": {}, "entries": [)", Kiv::stringValue( type ),
                   shape_.ranges[field].invalid );
      writeEntries( snapshot_.rangeEntryColl( type )->entry(), [this]( RangeSetElem const& range ) {
        json_.print( R"("first": {}, "last": {})", range.first(), range.last() );
      } );
      json_.print( "]}}" );
    }
  }

  void writeComboTables() {
    bool first = true;
    for ( ComboLabelSetType const type : kCombos ) {
      if ( !shape_.combo( type ).on ) continue;
      json_.separate( first );
      json_.print( R"({{"type": "{}", "invalid": {}, "entries": [)", Kiv::stringValue( type ),
                   shape_.combo( type ).invalid );
      writeEntries( snapshot_.comboEntryColl( type )->entry(), [this]( EncodedComboLabel const& pair ) {
        json_.print( R"("srcLabel": {}, "dstLabel": {})", pair.srcLabel.value(), pair.dstLabel.value() );
      } );
      json_.print( "]}}" );
    }
  }

  void writeAcls( Policy const& policy ) {
    bool first = true;
    for ( Acl const& acl : policy.acls ) {
      json_.separate( first );
      json_.print( R"({{"name": )" );
      json_.printString( acl.name );
      json_.print( R"(, "family": "{}", "default": "{}", "rules": [)", Kiv::stringValue( acl.family ),
                   Kiv::stringValue( acl.defaultAction ) );
      auto const& acls = snapshot_.pdAclColl();
      auto const loaded =
          acls ? acls->pdAcl().find( PDAclKey( acl.family, libraryAclName( acl.family, acl.name ) ) ) : nullptr;
      bool firstRule = true;
      for ( Rule const& rule : acl.rules ) {
        json_.separate( firstRule );
        writeRule( rule, loaded ? loaded->rule().find( AceIndex( rule.index ) ) : nullptr );
      }
      json_.print( "]}}" );
    }
  }

 private:
  /// Of a label table, whose keys `writeKey` writes.
  template <class Entries, class WriteKey>
  void writeEntries( Entries const& entries, WriteKey const& writeKey ) {
    bool first = true;
    for ( auto const& [key, entry] : entries ) {
      json_.separate( first );
      json_.print( "{{" );
      writeKey( key );
      json_.print( R"(, "label": {}}})", entry.value.value() );
    }
  }

  void writeRule( Rule const& rule, Kiv::Ptr<PDAclRule> const& loaded ) {
    OrvexActionValue const& action = loaded ? loaded->action() : rule.action;
    auto const valueOrNull = []( bool there, std::uint32_t value ) {
      return there ? std::to_string( value ) : std::string( "null" );
    };
    json_.print( R"({{"index": {}, "name": )", rule.index );
    json_.printString( rule.name );
    json_.print( R"(, "action": {{"drop": {}, "log": {}, "dscp": {}, "tc": {}, "sflow": {}}}, "entries": [)",
                 action.dropEnabled, action.logEnabled, valueOrNull( action.setDscpEnabled, action.dscp.value() ),
                 valueOrNull( action.setTcEnabled, action.tc.value() ), action.sflowEnabled );
    bool first = true;
    if ( loaded )
      for ( PDAclFilter const& filter : loaded->filter() ) {
        json_.separate( first );
        writeFilter( filter );
      }
    json_.print( "]}}" );
  }

  void writeFilter( PDAclFilter const& filter ) {
    char const* separator = "";
    auto const writeField = [&]( std::string_view name, EncodedLabelWithMask const& entry ) {
      if ( entry.mask.value() == 0 ) return;
      json_.print( R"({}"{}": [{}, {}])", separator, name, entry.label.value(), entry.mask.value() );
      separator = ", ";
    };
    json_.print( "{{" );
    std::apply( [&]( auto const&... field ) { ( writeField( field.name, filter.*field.getter ), ... ); },
                PDAclFilter::fields() );
    json_.print( "}}" );
  }

  PDData const& snapshot_;
  Verify::TableShape const& shape_;
  JsonWriter& json_;
};

}  // namespace

void writeSnapshotJson( PDData const& snapshot, Policy const& policy, Verify::TableShape const& shape,
                        Brae::ChipId chipId, std::function<void( std::string_view )> const& sink ) {
  JsonWriter json( sink );
  SnapshotWriter writer( snapshot, shape, json );
  json.print( R"({{"schema": "orvex.snapshot/1", "chip": {},)"
              "\n\"prefixTables\": [",
              chipId.value() );
  writer.writePrefixTables();
  json.print( "],\n\"rangeTables\": [" );
  writer.writeRangeTables();
  json.print( "],\n\"comboTables\": [" );
  writer.writeComboTables();
  json.print( "],\n\"acls\": [" );
  writer.writeAcls( policy );
  json.print( "]}}\n" );
  json.flush();
}

}  // namespace Orvex::Host
