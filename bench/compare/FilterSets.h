#pragma once

/// The filter sets that a comparison runs on, each as a ClassBench file and as the same rules for nft.

#include <cstdint>
#include <string>
#include <vector>

#include "compare/Programs.h"

namespace Orvex::Bench {

struct ComparedSet {
  /// "acl1_10k", or "acl:ipv4:10000:1" for a generated one.
  std::string name;
  /// What sets that differ in their size alone have in common: "acl1", "acl:ipv4".
  std::string series;
  std::string path;
  std::string nftPath;
  bool generated = false;
  bool ipv6 = false;
  std::uint64_t rules = 0;
  /// Different prefixes on each side.
  std::uint64_t sources = 0;
  std::uint64_t destinations = 0;

  /// Of about this many rules: sets are generated with duplicates, and lose up to a fifth when these go.
  bool isAbout( std::uint64_t size ) const { return 5 * rules >= 4 * size && 10 * rules <= 11 * size; }
};

/// The sets in the files.
/// Fails with: std::runtime_error naming the file that holds none.
std::vector<ComparedSet> givenSets( std::vector<std::string> const& files, Programs const& programs );

/// In each style and family a set of each size; at most 60,000 different prefixes a side, as the labels of a side have 16
/// bits.
std::vector<ComparedSet> generatedSets( std::vector<std::uint64_t> const& sizes, Programs const& programs );

}  // namespace Orvex::Bench
