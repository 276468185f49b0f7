#pragma once

/// Configuration as JSON instance data (RFC 7951), walked from the top with the path to every node:
///
///     {"ietf-access-control-list:acls": {"acl": [{"name": "edge", "type": "ipv4-acl-type"}]}}
///                                                                         ~~~~~~~~~~~~~~~
///     /ietf-access-control-list:acls/acl[name='edge']/type
///
/// Nothing is ignored unsaid. A reader names the members that an object can have, and what it does with each: it reads
/// it, leaves it out because it is no part of a policy (descriptions, counters), or refuses it because a table cannot
/// express it. Any other member is an error, and so are entries of a list that have the same keys or lack one.
///
/// Members have plain names; the module's own name before them is accepted. A member of another module is an
/// augmentation and refused. Members that begin with @ are metadata (RFC 7952) and left out.
///
/// Errors name path and place. What is valid and refused is an error too, unless ACLs with it are to be skipped: then it
/// is gathered, and the ACL is left out whole, with a warning. To leave out a rule alone would give its packets to others.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "input/Diagnostics.h"
#include "input/SourceFile.h"
#include "json/JsonTree.h"

namespace Orvex::Host {

/// What becomes of an ACL that a table cannot express.
enum class Unsupported : std::uint32_t { isError, skipsAcl };

class InstanceNode;

/// What is wrong with one file.
class InstanceReport {
 public:
  /// Both outlive the report.
  InstanceReport( SourceFile const& file, Unsupported unsupported, Diagnostics& diagnostics )
      : file_( file ), unsupported_( unsupported ), diagnostics_( diagnostics ) {}

  Diagnostics& diagnostics() { return diagnostics_; }
  Place placeOf( std::string_view part ) const { return file_.placeOf( part ); }

  void unsupported( std::string_view part, std::string problem );
  /// What is unsupported from here on belongs to this ACL.
  void aclBegins() { insideAcl_ = true; }
  /// Whether the ACL can be kept.
  bool aclEnds( InstanceNode const& acl );

 private:
  static constexpr std::size_t kShown = 5;

  SourceFile const& file_;
  Unsupported unsupported_;
  Diagnostics& diagnostics_;
  bool insideAcl_ = false;
  std::vector<RelatedPlace> gathered_;
};

/// What a reader does with a member of an object.
enum class Take : std::uint32_t { read, leaveOut, refuse };

struct InstanceMember {
  std::string_view name;
  Take take = Take::read;
  /// Why it is refused: "a table does not match ECN"
  std::string_view reason = {};
};

/// A node refers to the one that it was found in, which has to stay where it is meanwhile.
class InstanceNode {
 public:
  using Members = std::span<InstanceMember const>;
  using Keys = std::span<std::string_view const>;

  /// A document; its members are those of modules, with their names.
  InstanceNode( JsonNode const& document, InstanceReport& report ) : json_( &document ), report_( &report ) {}

  JsonNode const& json() const { return *json_; }
  InstanceReport& report() const { return *report_; }
  std::string path() const;
  /// Of an object or an array: where it begins.
  Place place() const { return report_->placeOf( shown() ); }

  /// Whether it is an object. Reports what it has besides these members, and what it has of those to be refused.
  bool isObject( Members members ) const;
  std::optional<InstanceNode> member( std::string_view name ) const&;
  /// Reports it when there is none.
  std::optional<InstanceNode> required( std::string_view name ) const&;
  void member( std::string_view name ) const&& = delete;
  void required( std::string_view name ) const&& = delete;

  /// The entries of a list, each of which is an object. Reports those that lack a key or have the keys of an earlier one.
  std::vector<InstanceNode> entries( Keys keys ) const&;
  /// The values of a leaf-list.
  std::vector<InstanceNode> values() const&;

  void error( std::string const& problem, std::string remedy = "", std::vector<RelatedPlace> related = {} ) const;
  /// "this is an array; write an object"
  void wrongKind( std::string const& wanted ) const;
  void unsupported( std::string_view reason ) const;

 private:
  InstanceNode( InstanceNode const& parent, std::string_view name, JsonNode const& json );
  InstanceNode( InstanceNode const& list, std::size_t position, Keys keys, JsonNode const& json );

  bool isArray() const;
  void checkMember( JsonMember const& member, Members members ) const;
  std::string_view plainName( std::string_view name ) const;
  /// The keys in an entry's path; its position when it has none.
  std::string predicate() const;
  bool hasKeys() const;
  std::string_view shown() const;

  JsonNode const* json_;
  InstanceReport* report_;
  InstanceNode const* parent_ = nullptr;
  std::string_view name_;     // of a member
  std::size_t position_ = 0;  // of an entry or a value, from 1
  Keys keys_;                 // of an entry
  std::string_view module_ = {};
};

}  // namespace Orvex::Host
