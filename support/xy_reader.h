// Reader for the "XY blocks" text format of the bundled real data: one
// vertex "x y" per line, a blank line ends a block, '#' lines are comments,
// and the comment just before a block carries its key=value attributes.
#pragma once

#include <math/types.h>

#include <istream>
#include <map>
#include <string>
#include <vector>

namespace kmath_test {

struct XYBlock {
  // key=value pairs of the comment right before the block; "name" runs to
  // the end of its line.
  std::map<std::string, std::string> attrs;
  std::vector<CPointD> pts;

  // The attribute, or `fallback` when the block has none of that key.
  std::string Attr(std::string const& key, std::string const& fallback = "") const;
  // A ring repeats its first vertex as its last.
  bool IsClosed() const;
};

// Parses every block; throws std::runtime_error naming the line on a vertex
// line that is not two finite numbers.
std::vector<XYBlock> ReadXY(std::istream& in);

// The absolute path of a bundled data file (data/<name>).
std::string DataPath(std::string const& name);

// Reads data/<name>; throws std::runtime_error when it cannot be opened.
std::vector<XYBlock> LoadXY(std::string const& name);

// Only the vertices of every block, in file order.
std::vector<std::vector<CPointD>> LoadPolylines(std::string const& name);

}  // namespace kmath_test
