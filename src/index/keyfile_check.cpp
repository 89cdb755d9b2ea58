// Key-file check. Parent links are not checked: deletion leaves some of
// them stale by design and nothing reads them.
#include "index/keyfile_check.h"

#include <cstdio>
#include <cstring>

#include "index/keyfile_internal.h"

namespace kv::index {

namespace {

constexpr int32_t kMaxDepth = 64;

std::string Format(const char* fmt, int32_t a, int32_t b = 0, int32_t c = 0) {
  char line[160];
  std::snprintf(line, sizeof line, fmt, a, b, c);
  return line;
}

class Checker {
 public:
  Checker(BaumKeyDatei* d, KeyFileCheck* out)
      : d_(d), out_(out), rec_(d), inTree_(static_cast<size_t>(d->slotCount) + 1, false) {}

  bool run() {
    if (!rec_ || !ReadSlot(d_, 0, rec_.bytes())) return false;
    out_->usedCount = rec_.payload();
    const int32_t firstFree = rec_.next_free();
    int32_t root = 0;
    if (!ReadAt(d_, KeyNodePosition(d_->recordSize, 0), &root, 4)) return false;
    out_->height = subtree(root, 1);
    scan_slots();
    follow_chain(firstFree);
    return true;
  }

 private:
  BaumKey read_key(int32_t slot) {
    BaumKey k{};
    if (ReadSlot(d_, slot, rec_.bytes())) std::memcpy(&k, rec_.bytes(), sizeof k);
    return k;
  }

  // Height of the subtree at slot n; records its keys in order.
  int32_t subtree(int32_t n, int32_t depth) {
    if (n == 0) return 0;
    if (n < 0 || n > d_->slotCount) {
      defect(Format("tree links to slot %d outside 1..%d", n, d_->slotCount));
      return 0;
    }
    if (inTree_[n] || depth > kMaxDepth) {
      defect(Format("slot %d is reached twice in the tree (a cycle)", n));
      return 0;
    }
    inTree_[n] = true;
    AvlKnoten node{};
    if (!ReadAt(d_, KeyNodePosition(d_->recordSize, n), &node, BBAUMLIB_NODE_SIZE)) {
      defect(Format("node of slot %d cannot be read", n));
    }
    const int32_t hl = subtree(node.left, depth + 1);
    visit(n, depth);
    const int32_t hr = subtree(node.right, depth + 1);
    if (node.balance < -1 || node.balance > 1 || node.balance != hr - hl) {
      defect(Format("slot %d has balance %d, its subtrees differ by %d", n, node.balance, hr - hl));
    }
    return 1 + (hl > hr ? hl : hr);
  }

  void visit(int32_t n, int32_t depth) {
    KeyFileEntry e{n, depth, read_key(n)};
    if (e.record.payload == 0) defect(Format("slot %d is in the tree with payload 0", n));
    if (!out_->keys.empty() && CompareKeys(out_->keys.back().record.key, e.record.key) >= 0) {
      defect(Format("slot %d is out of order after slot %d", n, out_->keys.back().slot));
    }
    out_->keys.push_back(e);
  }

  void scan_slots() {
    for (int32_t n = 1; n <= d_->slotCount; ++n) {
      if (!ReadSlot(d_, n, rec_.bytes())) {
        defect(Format("slot %d cannot be read", n));
        continue;
      }
      if (rec_.payload() == 0) continue;
      ++out_->slotsWithPayload;
      if (!inTree_[n]) defect(Format("slot %d holds payload %d but is not in the tree", n, rec_.payload()));
    }
    if (out_->slotsWithPayload != out_->usedCount) {
      defect(Format("used count is %d, %d slots hold a payload", out_->usedCount, out_->slotsWithPayload));
    }
  }

  // A chain that ends in 0 or past the last slot is complete; anything
  // else on it must be a free slot seen once.
  void follow_chain(int32_t n) {
    std::vector<bool> seen(static_cast<size_t>(d_->slotCount) + 1, false);
    while (n >= 1 && n <= d_->slotCount) {
      if (seen[n]) {
        defect(Format("free chain runs into slot %d again", n));
        break;
      }
      seen[n] = true;
      ++out_->chainLength;
      if (!ReadSlot(d_, n, rec_.bytes())) {
        defect(Format("free slot %d cannot be read", n));
        break;
      }
      if (rec_.payload() != 0) defect(Format("free chain holds slot %d with payload %d", n, rec_.payload()));
      if (inTree_[n]) defect(Format("free chain holds slot %d, which is in the tree", n));
      n = rec_.next_free();
    }
    out_->chainEnd = n;
    if (n < 0) defect(Format("free chain ends in %d", n));
  }

  void defect(std::string line) { out_->defects.push_back(std::move(line)); }

  BaumKeyDatei* d_;
  KeyFileCheck* out_;
  KeyRecord rec_;
  std::vector<bool> inTree_;
};

}  // namespace

bool CheckKeyFile(BaumKeyDatei* d, KeyFileCheck* out) {
  if (d == nullptr || out == nullptr) return false;
  *out = KeyFileCheck{};
  OpenScope open(d);
  if (!open) return false;
  return Checker(d, out).run();
}

}  // namespace kv::index
