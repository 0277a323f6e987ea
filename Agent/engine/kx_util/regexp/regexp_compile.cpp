// From the tree of an expression to its program.
#include <utility>

#include "Agent/engine/kx_util/regexp/regexp_program.h"

namespace {

/// Writes the code of a node so that it falls through to whatever is written next.
class CkxRegExpCompiler {
 public:
  CkxRegExpCompiler(const SkxRegExpTree& tree, SkxRegExpProgram& program) : _tree(tree), _program(program) {}

  bool Run() {
    Node(_tree.root);
    Emit(EkxRegExpOp::Match);
    return !_full;
  }

 private:
  uint32_t Here() const { return static_cast<uint32_t>(_program.code.size()); }

  uint32_t Emit(EkxRegExpOp op, uint32_t arg = 0) {
    _full = _full || _program.code.size() == kxRegExpMaxProgram;
    if (_full) return 0;  // nothing more is written; the program is thrown away
    _program.code.push_back({op, arg, 0});
    return Here() - 1;
  }

  /// Sets the two ways of a Split: into the repeated code and past it, the preferred one first.
  void Ways(uint32_t split, bool greedy, uint32_t into, uint32_t past) {
    _program.code[split].arg = greedy ? into : past;
    _program.code[split].other = greedy ? past : into;
  }

  void Node(uint32_t index) {
    const SkxRegExpNode& node = _tree.nodes[index];
    switch (node.kind) {
      case EkxRegExpNode::Unit:
        Emit(EkxRegExpOp::Unit, _program.Folded(static_cast<WCHAR>(node.value)));
        break;
      case EkxRegExpNode::AnyUnit:
        Emit(EkxRegExpOp::AnyUnit);
        break;
      case EkxRegExpNode::Class:
        Emit(EkxRegExpOp::Set, node.value);
        break;
      case EkxRegExpNode::InputStart:
        Emit(EkxRegExpOp::InputStart);
        break;
      case EkxRegExpNode::InputEnd:
        Emit(EkxRegExpOp::InputEnd);
        break;
      case EkxRegExpNode::BackReference:
        Emit(EkxRegExpOp::BackReference, node.value);
        break;
      case EkxRegExpNode::Sequence:
        for (uint32_t child = node.child; child != SkxRegExpNode::none; child = _tree.nodes[child].next) Node(child);
        break;
      case EkxRegExpNode::Alternatives:
        Alternatives(node);
        break;
      case EkxRegExpNode::Group:
        Emit(EkxRegExpOp::Save, 1 + 2 * node.value);
        Node(node.child);
        Emit(EkxRegExpOp::Save, 2 + 2 * node.value);
        break;
      case EkxRegExpNode::ZeroOrOne:
        ZeroOrOne(node);
        break;
      case EkxRegExpNode::ZeroOrMore:
        ZeroOrMore(node);
        break;
      case EkxRegExpNode::OneOrMore:
        OneOrMore(node);
        break;
      case EkxRegExpNode::NotAhead:
        NotAhead(node);
        break;
    }
  }

  void Alternatives(const SkxRegExpNode& node) {
    std::vector<uint32_t> jumps;
    for (uint32_t child = node.child; child != SkxRegExpNode::none && !_full; child = _tree.nodes[child].next) {
      if (_tree.nodes[child].next == SkxRegExpNode::none) {
        Node(child);
        break;
      }
      const uint32_t split = Emit(EkxRegExpOp::Split);
      Node(child);
      jumps.push_back(Emit(EkxRegExpOp::Jump));
      if (!_full) Ways(split, true, split + 1, Here());
    }
    for (const uint32_t jump : jumps) _program.code[jump].arg = Here();
  }

  void ZeroOrOne(const SkxRegExpNode& node) {
    const uint32_t split = Emit(EkxRegExpOp::Split);
    Node(node.child);
    Ways(split, node.greedy, split + 1, Here());
  }

  void ZeroOrMore(const SkxRegExpNode& node) {
    const uint32_t split = Emit(EkxRegExpOp::Split);
    Node(node.child);
    Emit(EkxRegExpOp::Jump, split);
    Ways(split, node.greedy, split + 1, Here());
  }

  void OneOrMore(const SkxRegExpNode& node) {
    const uint32_t body = Here();
    Node(node.child);
    const uint32_t split = Emit(EkxRegExpOp::Split);
    Ways(split, node.greedy, body, Here());
  }

  void NotAhead(const SkxRegExpNode& node) {
    const uint32_t instruction = Emit(EkxRegExpOp::NotAhead, static_cast<uint32_t>(_program.notAheads.size()));
    _program.notAheads.push_back(instruction);
    Node(node.child);
    Emit(EkxRegExpOp::Match);
    _program.code[instruction].other = Here();
  }

  const SkxRegExpTree& _tree;
  SkxRegExpProgram& _program;
  bool _full = false;
};

/// Puts the instructions of a NotAhead's program into `aheadOrder`: a walk in depth, written without recursion since
/// it may be as deep as the program is long. There is always such an order because a loop takes a unit.
class CkxAheadOrder {
 public:
  explicit CkxAheadOrder(SkxRegExpProgram& program) : _program(program), _states(program.code.size(), EkxState::New) {}

  void Run() {
    for (const uint32_t notAhead : _program.notAheads) {
      for (uint32_t pc = notAhead + 1; pc < _program.code[notAhead].other; ++pc) Place(pc);
    }
  }

 private:
  enum class EkxState : uint8_t { New, Entered, Placed };

  void Place(uint32_t from) {
    Push(from);
    while (!_stack.empty()) {
      const uint32_t pc = _stack.back();
      if (_states[pc] == EkxState::New) {
        _states[pc] = EkxState::Entered;
        PushNeeded(pc);
        continue;
      }
      _stack.pop_back();
      if (std::exchange(_states[pc], EkxState::Placed) == EkxState::Entered) _program.aheadOrder.push_back(pc);
    }
  }

  void PushNeeded(uint32_t pc) {
    const SkxRegExpInst& inst = _program.code[pc];
    switch (inst.op) {
      case EkxRegExpOp::Jump:
        Push(inst.arg);
        break;
      case EkxRegExpOp::Split:
        Push(inst.arg);
        Push(inst.other);
        break;
      case EkxRegExpOp::NotAhead:
        Push(pc + 1);
        Push(inst.other);
        break;
      case EkxRegExpOp::InputStart:
      case EkxRegExpOp::InputEnd:
      case EkxRegExpOp::Save:
        Push(pc + 1);
        break;
      default:
        break;
    }
  }

  void Push(uint32_t pc) {
    if (_states[pc] == EkxState::New) _stack.push_back(pc);
  }

  SkxRegExpProgram& _program;
  std::vector<EkxState> _states;
  std::vector<uint32_t> _stack;
};

}  // namespace

SkxRegExpError KxRegExp_Compile(const SkxRegExpTree& tree, bool caseSensitive, SkxRegExpProgram& program) {
  program.caseSensitive = caseSensitive;
  program.groupCount = tree.groupCount;
  program.hasBackReferences = tree.hasBackReferences;
  program.code.reserve(tree.nodes.size());
  if (!CkxRegExpCompiler(tree, program).Run()) return {EkxRegExpError::OutOfMemory, 0};
  program.sets.reserve(tree.classes.size());
  for (const SkxRegExpClass& written : tree.classes) program.sets.emplace_back(written, caseSensitive);
  if (!program.hasBackReferences) CkxAheadOrder(program).Run();
  return {};
}
