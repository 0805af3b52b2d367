#include "xy_reader.h"

#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kmath_test {
namespace {

// "# id=3 part=0 ring=outer name=Isle of Man" -> {id:3, part:0, ring:outer,
// name:Isle of Man}. Header lines without '=' yield nothing and are harmless.
std::map<std::string, std::string> ParseAttrs(std::string const& comment) {
  std::map<std::string, std::string> attrs;
  std::istringstream words(comment.substr(1));
  std::string word;
  while (words >> word) {
    auto const eq = word.find('=');
    if (eq == std::string::npos || eq == 0) continue;
    std::string key = word.substr(0, eq);
    std::string value = word.substr(eq + 1);
    if (key == "name") {
      std::string rest;
      std::getline(words, rest);
      value += rest;
    }
    attrs[key] = value;
  }
  return attrs;
}

}  // namespace

std::string XYBlock::Attr(std::string const& key, std::string const& fallback) const {
  auto const it = attrs.find(key);
  return it == attrs.end() ? fallback : it->second;
}

bool XYBlock::IsClosed() const {
  return pts.size() > 1 && pts.front().x == pts.back().x && pts.front().y == pts.back().y;
}

std::vector<XYBlock> ReadXY(std::istream& in) {
  std::vector<XYBlock> blocks;
  std::map<std::string, std::string> pending;
  bool open = false;
  std::string line;
  int lineno = 0;
  while (std::getline(in, line)) {
    ++lineno;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty() && line[0] == '#') {
      pending = ParseAttrs(line);
      continue;
    }
    if (line.find_first_not_of(" \t") == std::string::npos) {
      open = false;
      continue;
    }
    std::istringstream s(line);
    CPointD p{};
    std::string extra;
    if (!(s >> p.x >> p.y) || (s >> extra) || !std::isfinite(p.x) || !std::isfinite(p.y))
      throw std::runtime_error("XY blocks: line " + std::to_string(lineno) + " is not a vertex: '" + line + "'");
    if (!open) {
      blocks.push_back({std::move(pending), {}});
      pending.clear();
      open = true;
    }
    blocks.back().pts.push_back(p);
  }
  return blocks;
}

std::string DataPath(std::string const& name) { return std::string(KMATH_DATA_DIR) + "/" + name; }

std::vector<XYBlock> LoadXY(std::string const& name) {
  std::ifstream in(DataPath(name));
  if (!in) throw std::runtime_error("cannot open data file " + DataPath(name));
  return ReadXY(in);
}

std::vector<std::vector<CPointD>> LoadPolylines(std::string const& name) {
  std::vector<std::vector<CPointD>> out;
  for (auto& b : LoadXY(name)) out.push_back(std::move(b.pts));
  return out;
}

}  // namespace kmath_test
