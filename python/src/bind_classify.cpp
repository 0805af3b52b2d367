// The decision tree classifier.
#include "arrays.h"

#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace kmath_py {

namespace {

// The node id the tree reserves for leaves.
constexpr unsigned short kLeaf = 0xFFFF;

class PyDecisionTree {
 public:
  PyDecisionTree(py::handle nodes, py::handle features)
      : m_features(ReadFeatures(features)), m_tree(Build(nodes, m_features)) {
    for (auto const& f : m_features)
      if (!f.options.empty()) m_optionColumns.push_back(f.index);
  }

  // Rows of values: the top-scoring class of each (-1 where none).
  py::array_t<std::int32_t> Predict(py::handle rows) const {
    py::array_t<double, py::array::c_style | py::array::forcecast> a = Rows(rows);
    py::ssize_t const m = a.shape(0), k = a.shape(1);
    py::array_t<std::int32_t> out(m);
    std::int32_t* o = out.mutable_data();
    std::vector<Math::DTC_traits::CValue> values;
    // The nodes' reference counts change while classifying; the GIL stays
    // held so that Python threads sharing a tree never walk it at once.
    for (py::ssize_t i = 0; i < m; ++i) {
      Values(a.data() + i * k, k, values);
      Math::DTC_traits::CResult r = m_tree.Classify(values);
      Math::DTC_traits::SortResult(r);
      o[i] = r.empty() ? -1 : std::int32_t(r.front().first);
    }
    return out;
  }

  // One row: its leaf's (class, score) list, highest score first.
  py::list Classify(py::handle row) const {
    py::array_t<double, py::array::c_style | py::array::forcecast> a =
        py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(row);
    if (!a || a.ndim() != 1) throw py::value_error("row: expected a one-dimensional array of values");
    std::vector<Math::DTC_traits::CValue> values;
    Values(a.data(), a.shape(0), values);
    Math::DTC_traits::CResult r = m_tree.Classify(values);
    Math::DTC_traits::SortResult(r);
    py::list out;
    for (auto const& p : r) out.append(py::make_tuple(int(p.first), p.second));
    return out;
  }

 private:
  static std::vector<Math::DTC_traits::CFeature> ReadFeatures(py::handle features) {
    std::vector<Math::DTC_traits::CFeature> feats;
    for (py::handle f : features) {
      Math::DTC_traits::CFeature cf;
      if (py::isinstance<py::int_>(f)) {
        cf.index = Column(f);
      } else {
        auto const t = f.cast<py::tuple>();
        if (t.size() != 2) throw py::type_error("features: expected a column index or (column, options)");
        cf.index = Column(t[0]);
        for (py::handle o : t[1]) {
          int const code = o.cast<int>();
          if (code < 0 || code > 255) throw py::value_error("features: option codes lie in 0..255");
          cf.options.push_back(static_cast<unsigned char>(code));
        }
      }
      feats.push_back(cf);
    }
    return feats;
  }

  static Math::CDecisionTree Build(py::handle nodes, std::vector<Math::DTC_traits::CFeature> const& feats) {
    Math::CDecisionTree::CNodeList list;
    for (py::handle n : nodes) {
      auto const t = n.cast<py::tuple>();
      if (t.size() != 2) throw py::type_error("nodes: expected (feature or None, values) pairs");
      unsigned short id = kLeaf;
      if (!t[0].is_none()) {
        int const f = t[0].cast<int>();
        if (f < 0 || f >= int(kLeaf)) throw py::value_error("nodes: feature position out of range");
        id = static_cast<unsigned short>(f);
      }
      std::vector<Math::DTC_traits::CValue> vals;
      for (py::handle v : t[1]) vals.emplace_back(v.cast<double>());
      list.emplace_back(id, std::move(vals));
    }
    try {
      return Math::CDecisionTree(list, feats);
    } catch (std::invalid_argument const& e) {
      throw py::value_error(std::string("DecisionTree: ") + e.what());
    }
  }

  static unsigned short Column(py::handle h) {
    int const c = h.cast<int>();
    if (c < 0 || c > 0xFFFE) throw py::value_error("features: column index out of range");
    return static_cast<unsigned short>(c);
  }

  py::array_t<double, py::array::c_style | py::array::forcecast> Rows(py::handle rows) const {
    auto a = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(rows);
    if (!a || a.ndim() != 2) throw py::value_error("rows: expected an (m, k) array of feature values");
    return a;
  }

  // Values of one row; a column read by an option feature carries its
  // code as a whole number.
  void Values(double const* row, py::ssize_t k, std::vector<Math::DTC_traits::CValue>& out) const {
    out.clear();
    for (py::ssize_t j = 0; j < k; ++j) out.emplace_back(row[j]);
    for (auto const& col : m_optionColumns) {
      if (py::ssize_t(col) >= k) continue;
      double const v = row[col];
      if (!(v >= 0 && v <= 255 && v == std::floor(v)))
        throw py::value_error("column " + std::to_string(col) + " holds option codes: whole numbers 0..255");
      out[col] = Math::DTC_traits::CValue(static_cast<unsigned char>(v));
    }
  }

  std::vector<Math::DTC_traits::CFeature> m_features;
  Math::CDecisionTree m_tree;
  std::vector<unsigned short> m_optionColumns;
};

}  // namespace

void BindClassify(py::module_& m) {
  py::class_<PyDecisionTree>(m, "DecisionTree", R"doc(A decision tree classifier over the columns of a float array.

DecisionTree(nodes, features): `features` lists the features a node can
test, each a column index (numeric) or (column, option_codes) with the
codes 0..255 strictly ascending. `nodes` is the pre-order listing of the
tree, each entry (feature, values): feature None for a leaf, whose values
are class, score, class, score, ... (classes whole numbers 0..65534);
otherwise the position of the feature in `features`, with values [threshold]
for a numeric one (the subtree for "less than" follows, then the other) or
[] for an option feature (one subtree per option code follows, in order).
ValueError for a list that ends early, has nodes left over or names a
missing feature; an empty list makes the tree that classifies nothing.)doc")
      .def(py::init<py::handle, py::handle>(), py::arg("nodes"), py::arg("features"))
      .def("predict", &PyDecisionTree::Predict, py::arg("rows"),
           R"doc(The top-scoring class of every row of an (m, k) array, as int32; -1
where the tree gives nothing (an option code without a branch, a row too
short). ValueError when a column of an option feature is not a whole number
in 0..255.)doc")
      .def("classify", &PyDecisionTree::Classify, py::arg("row"),
           "The (class, score) list of one row's leaf, highest score first.");
}

}  // namespace kmath_py
