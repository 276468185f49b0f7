#pragma once

/// A file of JSON instance data, and which format of policies it is in.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "formats/InstanceNode.h"
#include "input/Diagnostics.h"
#include "input/SourceFile.h"
#include "json/JsonTree.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

struct InstanceDocument {
  std::shared_ptr<SourceFile const> file;
  JsonNode root;
};

inline constexpr std::string_view kRfc8519Acls = "ietf-access-control-list:acls";
inline constexpr std::string_view kOpenConfigAcl = "openconfig-acl:acl";
inline constexpr std::string_view kOpenConfigSets = "openconfig-defined-sets:defined-sets";

enum class InstanceFormat : std::uint32_t { rfc8519, openConfig };

/// Whether the file's first character that is no blank opens an object or an array.
bool looksLikeJson( SourceFile const& file );

/// None, with errors, when the file is no JSON text.
std::optional<InstanceDocument> readInstanceDocument( std::shared_ptr<SourceFile const> const& file,
                                                      Diagnostics& diagnostics );

/// By the members of the outermost object, with or without the names of their modules. None, with an error, when there is
/// neither format's.
std::optional<InstanceFormat> instanceFormatOf( InstanceDocument const& document, Diagnostics& diagnostics );

/// Checks the outermost object for what a reader reads of it, which are members with the names of their modules. Those of
/// other modules are passed over: a file can hold a device's whole configuration. Returns whether there is one to read.
bool hasTopMember( InstanceNode const& document, std::span<std::string_view const> names );

/// What both readers end with. Warns when there is no ACL.
std::optional<LocatedPolicy> finishedPolicy( LocatedPolicy located, std::span<InstanceDocument const> documents,
                                             Diagnostics& diagnostics );

}  // namespace Orvex::Host
