#include "platform/model_support/roofline_interpolator.h"

#include <algorithm>
#include <cmath>

#include "platform/model_support/roofline_roofs.h"
#include "platform/system_info/system_info.h"

namespace data_models2 {

using namespace data_abstractions2;

namespace {

int lanesOf(const sptr_t<IResultController>& controller) {
  if (!controller) return 1;
  int bits = controller->getMaxVectorLength(0);
  if (bits <= 0) {
    bits = system_info::SystemInfo::getVectorLengthOfLevel(
        static_cast<system_info::SystemInfo::IsaExtensions>(controller->getIsaExtensions(0)));
  }
  return bits >= 128 ? bits / 64 : 1;
}

class RoofInterpolator : public IRoofInterpolator {
 public:
  RoofInterpolator(Roofs roofs, int lanes) : roofs_(std::move(roofs)), lanes_(lanes) {}

  std::vector<RoofItem> getMemoryRoofs(IRooflineInfo::RoofsStrategyId strategy) const override {
    std::vector<RoofItem> out;
    for (const Roofs::Entry& e : roofs_.memoryRoofs(strategy)) out.push_back(e.item);
    return out;
  }

  bool getComputeRoof(const CodeKind& code, IRooflineInfo::RoofsStrategyId strategy, RoofItem& roof) const override {
    const std::vector<Roofs::Entry> all = roofs_.computeRoofs(strategy);
    if (all.empty()) return false;
    const bool wantInteger = code.operations == OperationsInt;
    std::vector<Roofs::Entry> pool;
    for (const Roofs::Entry& e : all) {
      if (e.cls.integer == wantInteger) pool.push_back(e);
    }
    if (pool.empty()) pool = all;

    if (!code.known) {
      roof = highest(pool, [](const RoofClass&) { return true; })->item;
      return true;
    }
    // Nearest first: the same vector width matters more than the same
    // instruction, because it is the larger factor.
    const bool tries[4][2] = {
        {code.vector, code.fma}, {code.vector, !code.fma}, {!code.vector, code.fma}, {!code.vector, !code.fma}};
    for (const auto& t : tries) {
      const Roofs::Entry* found =
          highest(pool, [&](const RoofClass& c) { return c.vector == t[0] && c.fma == t[1]; });
      if (!found) continue;
      if (t[0] == code.vector && t[1] == code.fma) {
        roof = found->item;
        return true;
      }
      roof = estimate(*found, code);
      return true;
    }
    return false;  // not reached: the four tries cover every class
  }

  int getVectorLanes() const override { return lanes_; }

 private:
  template <class Pred>
  static const Roofs::Entry* highest(const std::vector<Roofs::Entry>& pool, Pred pred) {
    const Roofs::Entry* best = nullptr;
    for (const Roofs::Entry& e : pool) {
      if (pred(e.cls) && (!best || e.item.value > best->item.value)) best = &e;
    }
    return best;
  }

  RoofItem estimate(const Roofs::Entry& from, const CodeKind& code) const {
    double value = static_cast<double>(from.item.value);
    if (from.cls.fma != code.fma) value = code.fma ? value * 2.0 : value / 2.0;
    if (from.cls.vector != code.vector) value = code.vector ? value * lanes_ : value / lanes_;
    RoofClass cls = from.cls;
    cls.vector = code.vector;
    cls.fma = code.fma;
    RoofItem out;
    out.name = from.item.name + " (estimated)";
    out.value = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(std::llround(value)));
    out.secondWord = cls.bits();
    return out;
  }

  Roofs roofs_;
  int lanes_;
};

}  // namespace

std::shared_ptr<IRoofInterpolator> createRoofInterpolator(sptr_t<IResultController> resultController,
                                                          generic_iterator_t<RoofItem> roofItems) {
  return std::make_shared<RoofInterpolator>(Roofs(std::move(roofItems)), lanesOf(resultController));
}

}  // namespace data_models2
