#include "arrays.h"

#include <cstring>
#include <utility>

namespace kmath_py {

namespace {

bool IsNumericKind(char kind) { return kind == 'f' || kind == 'i' || kind == 'u' || kind == 'b'; }

}  // namespace

PointsIn::PointsIn(py::handle obj, char const* name, bool requireFinite) {
  // Refuse what forcecast would otherwise turn into numbers silently
  // (strings, objects) before converting anything.
  py::array raw = py::array::ensure(obj);
  if (!raw) throw py::type_error(std::string(name) + ": expected an (n, 2) array of numbers");
  if (!IsNumericKind(raw.dtype().kind()))
    throw py::type_error(std::string(name) + ": expected a numeric array, got dtype " +
                         std::string(py::str(raw.dtype())));
  if (raw.ndim() == 1 && raw.shape(0) == 0) {
    m_size = 0;  // an empty list is an empty polyline
    return;
  }
  if (raw.ndim() != 2 || raw.shape(1) != 2)
    throw py::value_error(std::string(name) + ": expected shape (n, 2), got " +
                          std::string(py::str(py::tuple(py::cast(std::vector<py::ssize_t>(
                              raw.shape(), raw.shape() + raw.ndim()))))));
  if (raw.shape(0) > py::ssize_t(0x7fffffff)) throw py::value_error(std::string(name) + ": too many points");
  m_array = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(raw);
  if (!m_array) throw py::type_error(std::string(name) + ": cannot convert to float64");
  m_data = reinterpret_cast<CPointD const*>(m_array.data());
  m_size = static_cast<unsigned>(m_array.shape(0));
  if (requireFinite) {
    for (unsigned i = 0; i < m_size; ++i)
      if (!std::isfinite(m_data[i].x) || !std::isfinite(m_data[i].y))
        throw py::value_error(std::string(name) + ": point " + std::to_string(i) + " is not finite");
  }
}

py::array_t<double> ToArray(std::vector<CPointD>&& pts) {
  auto* owned = new std::vector<CPointD>(std::move(pts));
  py::capsule free(owned, [](void* p) { delete static_cast<std::vector<CPointD>*>(p); });
  py::ssize_t const n = static_cast<py::ssize_t>(owned->size());
  return py::array_t<double>({n, py::ssize_t(2)}, {py::ssize_t(2 * sizeof(double)), py::ssize_t(sizeof(double))},
                             reinterpret_cast<double const*>(owned->data()), free);
}

py::array_t<double> ToArray(std::vector<CPointD> const& pts) { return ToArray(std::vector<CPointD>(pts)); }

py::list ToArrayList(Math::mpoly_base<CPointD>&& polys) {
  py::list out;
  for (auto& p : polys) out.append(ToArray(std::move(static_cast<std::vector<CPointD>&>(p))));
  return out;
}

Math::mpoly_base<CPointD> ReadParts(py::handle seq, char const* name, bool requireFinite) {
  if (py::isinstance<py::array>(seq) && py::array::ensure(seq).ndim() == 2)
    throw py::type_error(std::string(name) + ": expected a sequence of (n, 2) arrays, not one array");
  if (!py::isinstance<py::sequence>(seq) || py::isinstance<py::str>(seq))
    throw py::type_error(std::string(name) + ": expected a sequence of (n, 2) arrays");
  Math::mpoly_base<CPointD> out;
  for (py::handle part : seq) {
    PointsIn pts(part, name, requireFinite);
    out.emplace_back(pts.vector());
  }
  return out;
}

CPointD ReadPoint(py::handle obj, char const* name) {
  std::vector<double> xy;
  try {
    xy = obj.cast<std::vector<double>>();
  } catch (py::cast_error const&) {
    throw py::type_error(std::string(name) + ": expected an (x, y) pair of numbers");
  }
  if (xy.size() != 2) throw py::value_error(std::string(name) + ": expected an (x, y) pair");
  return CPointD{xy[0], xy[1]};
}

}  // namespace kmath_py
