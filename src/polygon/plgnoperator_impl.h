// The noding and classification engine behind the polygon operations, the
// many-polygon union and the structure checks. The steps and the meaning of
// the flags are laid out in math/plgnoperator.h.
#pragma once

#include <math/plgnoperator.h>
#include <math/types.h>

#include <cstddef>
#include <vector>

namespace Math::plgn_detail {

class CEngine {
 public:
  // How a side's winding number becomes membership of an operand.
  enum ERule { kEvenOdd, kPositiveWinding };

  explicit CEngine(ERule rule = kEvenOdd) : m_rule(rule) {}

  // Registers one contour of operand `tag` (1 = A, 2 = B). An unclosed
  // contour gets an implied closing edge; one with a non-finite coordinate
  // or fewer than two points is left out. Either marks the input defective.
  void AddContour(CPointD const* pts, std::size_t count, int tag);
  // Cheap structure problems seen while registering: unclosed or left-out
  // contours, repeated consecutive points, fewer than three distinct points.
  bool CheapDefect() const { return m_defect || m_cheapDefect; }

  // Noding and classification; runs once, later calls return at once.
  void Analyse();
  // The relation flags (runs Analyse when needed). bOrientation: a contour
  // running the wrong way counts as one to rebuild (the structure check of
  // a single ring leaves it out).
  CFlags Flags(bool bOrientation = true);
  // Selects, links and lays out the result of `op` into `out` (appended).
  void Build(COperation const& op, CStdPlgn& out);

 private:
  struct CSeg {
    int u;
    int v;
    int tag;
    int contour;
  };
  struct CPiece {
    int lo;  // the node with the smaller (x, y)
    int hi;
    int w[2];        // sum of source directions per operand, +1 for lo -> hi
    int n[2];        // sources per operand
    int contour[2];  // of the first source per operand, -1 for none
    bool mixed[2];   // sources from more than one contour of the operand
    bool classified;
    int left[2];   // winding of A and B on the left of lo -> hi
    int right[2];
  };

  void MergeNodes();
  bool SplitPass();
  void MakePieces();
  void Classify();
  bool In(int w) const { return m_rule == kEvenOdd ? (w & 1) != 0 : w > 0; }
  unsigned Membership(int const w[2]) const { return (In(w[0]) ? 1u : 0u) | (In(w[1]) ? 2u : 0u); }

  ERule m_rule;
  bool m_analysed = false;
  bool m_defect = false;
  bool m_defectOf[2] = {false, false};
  bool m_cheapDefect = false;
  bool m_cut = false;
  int m_nContours = 0;
  std::vector<CPointD> m_nodes;
  // For a node the sweep computed, the edge it was cut from: where two such
  // nodes merge, the crossing is recomputed from both edges in extended
  // precision, so near-parallel crossings land where they belong.
  struct CCarrier {
    CPointD p, q;
    bool computed;
  };
  std::vector<CCarrier> m_carrier;
  std::vector<CSeg> m_segs;
  std::vector<CPiece> m_pieces;
};

}  // namespace Math::plgn_detail
