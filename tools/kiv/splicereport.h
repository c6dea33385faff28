// What is told of a splice.
#ifndef KIVTOOL_SPLICEREPORT_H
#define KIVTOOL_SPLICEREPORT_H

#include "splicer.h"

#include <string>
#include <vector>

namespace tool {

enum class Differences { kAll, kThatForbidJoining };

// A table of the facts in which the files differ; empty when they do not. What is not known of a file counts
// as no difference.
std::string DifferenceTable(const std::vector<SpliceInput>& inputs, Differences which);

// The account of one file: lines of text, or one line of JSON.
std::string AccountText(const SpliceInput& input, const SpliceAccount& account);
std::string AccountJson(const SpliceInput& input, const SpliceAccount& account);

} // namespace tool

#endif
