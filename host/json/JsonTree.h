#pragma once

/// JSON (RFC 8259) as a tree in which everything knows where it stands in the user's file.
///
///     {"ranges": {"dport": {"width": 6}}}
///                          ^~~~~~~~~~~~     source() of the object
///
/// Beyond what JSON asks, a text is refused that
///  1. names a member of an object twice, where most readers would take the last in silence;
///  2. nests deeper than kMaxJsonDepth;
///  3. has an integer that a 64-bit number cannot hold, which others would round.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "input/Diagnostics.h"
#include "input/SourceFile.h"

namespace Orvex::Host {

inline constexpr std::size_t kMaxJsonDepth = 64;

struct JsonMember;

class JsonNode {
 public:
  struct Null {};
  using Elements = std::vector<JsonNode>;
  using Members = std::vector<JsonMember>;
  /// Integers are unsigned unless they are negative; `double` is a number with a fraction or an exponent.
  using Value = std::variant<Null, bool, std::uint64_t, std::int64_t, double, std::string, Elements, Members>;

  // Written out where members are a complete type.
  JsonNode();
  JsonNode( Value value, std::string_view source );
  JsonNode( JsonNode const& other );
  JsonNode( JsonNode&& other ) noexcept;
  JsonNode& operator=( JsonNode const& other );
  JsonNode& operator=( JsonNode&& other ) noexcept;
  ~JsonNode();

  Value const& value() const { return value_; }
  Value& value() { return value_; }

  /// The value, if it is of that kind; null otherwise.
  template <class Kind>
  Kind const* as() const {
    return std::get_if<Kind>( &value_ );
  }
  /// The value of an object's member; null when there is none, or no object.
  JsonNode const* member( std::string_view name ) const;
  /// "a number", "an object"
  std::string_view kindText() const;

  /// The part of the file's text that it was read from.
  std::string_view source() const { return source_; }
  void sourceIs( std::string_view source ) { source_ = source; }

 private:
  Value value_;
  std::string_view source_;
};

struct JsonMember {
  std::string name;
  std::string_view nameSource;
  JsonNode value;
};

/// Nothing, with errors that say why, when the file is no JSON text. The tree refers to the file's text.
std::optional<JsonNode> readJson( SourceFile const& file, Diagnostics& diagnostics );
/// The same for a part of the file's text, as a line of a file in which each line is a JSON text of its own.
/// Requires: the part's lines are text.
std::optional<JsonNode> readJson( SourceFile const& file, std::string_view part, Diagnostics& diagnostics );

}  // namespace Orvex::Host
