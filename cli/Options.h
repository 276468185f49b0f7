#pragma once

/// What the command line says, as plain values; each subcommand is a function of them. main.cpp fills them in.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Orvex/OrvexHwCapability.h"
#include "formats/InstanceNode.h"
#include "policy/ClassbenchReader.h"

namespace Orvex::Cli {

/// As of grep and diff.
enum ExitStatus : int { kDone = 0, kAnswerIsNo = 1, kQuestionIsWrong = 2 };

enum class PolicyFormat : std::uint32_t { automatic, acl, classbench, rfc8519, openConfig };

struct ConsoleOptions {
  bool quiet = false;
  /// "auto", "always" or "never"
  std::string colour = "auto";
};

struct PolicyOptions {
  std::vector<std::string> files;
  PolicyFormat format = PolicyFormat::automatic;
  Host::ClassbenchOptions classbench;
  /// What becomes of ACLs in JSON that a table cannot express.
  Host::Unsupported unsupported = Host::Unsupported::isError;
};

struct CheckOptions {
  ConsoleOptions console;
  PolicyOptions policy;
};

enum class CompileFormat : std::uint32_t { summary, table, json };

struct CompileOptions {
  ConsoleOptions console;
  PolicyOptions policy;
  /// A built-in chip's name, a profile's file, or "all".
  std::string chip = "default";
  CompileFormat format = CompileFormat::summary;
  /// In place of the profile's.
  std::optional<LabelPlacement> placement;
  /// Print what each placement comes to.
  bool comparePlacements = false;
  /// Or else nothing is loaded.
  bool verify = true;
  std::string output = "-";
  /// A page to be written beside the output; empty: none.
  std::string report;
};

enum class ClassifyMode : std::uint32_t { table, interpret, compare };

struct ClassifyOptions {
  ConsoleOptions console;
  PolicyOptions policy;
  std::string chip = "default";
  /// Of these two one is given.
  std::string packets;
  std::string capture;
  /// Of a capture's packets: the one ACL that is asked. Empty: all ACLs.
  std::string acl;
  ClassifyMode mode = ClassifyMode::table;
  std::string output = "-";
};

enum class ExplainFormat : std::uint32_t { text, json };

struct ExplainOptions {
  ConsoleOptions console;
  PolicyOptions policy;
  std::string chip = "default";
  /// As in a file of packets; or else the fields, by their names there, and the ACL, which may be left out.
  std::string packet;
  std::map<std::string, std::string> fields;
  std::string acl;
  ExplainFormat format = ExplainFormat::text;
  std::string output = "-";
};

enum class UpdateFormat : std::uint32_t { summary, json };

struct UpdateOptions {
  ConsoleOptions console;
  /// The old one and the new one.
  PolicyOptions policy;
  std::string chip = "default";
  UpdateFormat format = UpdateFormat::summary;
  std::string output = "-";
};

struct PacketsOptions {
  ConsoleOptions console;
  PolicyOptions policy;
  std::uint64_t count = 1000;
  std::uint64_t seed = 1;
  std::string output = "-";
};

struct ConvertOptions {
  ConsoleOptions console;
  PolicyOptions policy;
  /// Not automatic.
  PolicyFormat to = PolicyFormat::acl;
  std::string output = "-";
};

struct ChipsOptions {
  ConsoleOptions console;
  /// Empty: all, a line each.
  std::string name;
};

struct VerifyOptions {
  ConsoleOptions console;
  /// The last file is the snapshot, unless two policies are compared.
  PolicyOptions policy;
  bool equal = false;
};

int check( CheckOptions const& options );
int compile( CompileOptions const& options );
int classify( ClassifyOptions const& options );
int classifyCapture( ClassifyOptions const& options );
int explain( ExplainOptions const& options );
int packets( PacketsOptions const& options );
int convert( ConvertOptions const& options );
int chips( ChipsOptions const& options );
int update( UpdateOptions const& options );
int verify( VerifyOptions const& options );

}  // namespace Orvex::Cli
