#include "data_abstractions2/dataset_walker.h"

#include <utility>
#include <vector>

namespace data_abstractions2 {

namespace {

/// One level of the walk: a row whose children are being visited. The frame
/// at the bottom of the stack has no row; its "children" are the roots.
struct frame_t {
  row_t row;
  generic_iterator_t<row_t> children;
  /// What the row's pre-visit returned, handed to each child.
  variant_bag_t toChildren;
  /// What the children's post-visits returned, in child order; filled only in
  /// post-visit mode and released as soon as the row is post-visited.
  std::vector<variant_bag_t> fromChildren;
};

bool canceled(const foundation::IProgress* progress) { return progress && progress->isCanceled(); }

}  // namespace

DatasetWalker::DatasetWalker(sptr_t<IDataset> dataset) : dataset_(std::move(dataset)) {}

DatasetWalker::DatasetWalker(sptr_t<IDataset> dataset, generic_iterator_t<row_t> roots)
    : dataset_(std::move(dataset)), roots_(std::move(roots)) {}

bool DatasetWalker::visitRows(sptr_t<IFilter<Grouping>> filter,
                              sptr_t<IVisitHandler<INode<IRowSpecification>>> handler, int mode,
                              foundation::IProgress* progress) {
  const bool pre = (mode & PreVisit) != 0;
  const bool post = (mode & PostVisit) != 0;
  if (!handler || (!pre && !post)) return true;

  std::vector<frame_t> stack;
  stack.emplace_back();
  stack.back().children = roots_ ? *roots_ : dataset_->getRoots();

  while (!stack.empty()) {
    frame_t& top = stack.back();

    if (top.children.at_end()) {
      if (!top.row || !post) {
        stack.pop_back();
        continue;
      }
      if (canceled(progress)) return false;
      std::vector<variant_bag_t> fromChildren = std::move(top.fromChildren);
      row_t row = std::move(top.row);
      stack.pop_back();
      variant_bag_t result = handler->handlePostVisit(row, fromChildren);
      // The roots' results have no parent to go to.
      if (stack.size() > 1) stack.back().fromChildren.push_back(std::move(result));
      continue;
    }

    row_t child = top.children.current();
    top.children.next();
    if (!child) continue;
    if (filter && !filter->accept(child)) continue;
    if (canceled(progress)) return false;

    frame_t next;
    next.row = child;
    bool descend = true;
    if (pre) next.toChildren = handler->handlePreVisit(child, top.toChildren, descend);
    if (progress) progress->progressed(1);
    // `top` may dangle from here on: the push below can move the stack.
    if (descend && child->getChildren(0, 1, next.children) < 0) next.children = generic_iterator_t<row_t>();
    stack.push_back(std::move(next));
  }
  return true;
}

}  // namespace data_abstractions2
