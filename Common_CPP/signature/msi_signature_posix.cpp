#include "Common_CPP/signature/msi_signature_posix.h"

#include <algorithm>
#include <cstring>

namespace {

using PackageBytes = std::vector<unsigned char>;

constexpr uint64_t kMaxPackageMessageBytes = 8 * 1024 * 1024;
constexpr size_t kMaxStorageDepth = 32;  // a transform in a package is one storage deep

/// Those of packages, patches and transforms.
bool IsInstallersClass(const GUID& id) {
  constexpr uint32_t kKinds[] = {0xC1084, 0xC1086, 0xC1082};
  return std::any_of(std::begin(kKinds), std::end(kKinds), [&](uint32_t kind) {
    const GUID known = {kind, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    return std::memcmp(&id, &known, sizeof(id)) == 0;
  });
}

template <class Value>
std::span<const unsigned char> BytesOfObject(const Value& value) {
  return {reinterpret_cast<const unsigned char*>(&value), sizeof(value)};
}

std::span<const unsigned char> BytesOfObject(const KxWString& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size() * sizeof(WCHAR)};
}

bool ComesBefore(const SkxCompoundEntry& a, const SkxCompoundEntry& b) {
  const auto bytesOfA = BytesOfObject(a.name);
  const auto bytesOfB = BytesOfObject(b.name);
  return std::lexicographical_compare(bytesOfA.begin(), bytesOfA.end(), bytesOfB.begin(), bytesOfB.end());
}

bool IsStorage(const SkxCompoundEntry& entry) {
  return entry.kind == EkxCompoundEntry::Storage || entry.kind == EkxCompoundEntry::Root;
}

bool AreSame(const std::optional<SkxCompoundEntry>& known, const SkxCompoundEntry& entry) {
  return known && known->name == entry.name;
}

/// What the directory says of an entry, as far as a signature covers it.
bool AddMetadata(CkxHasher& hasher, const SkxCompoundEntry& entry) {
  const bool isRoot = entry.kind == EkxCompoundEntry::Root;
  const auto size = static_cast<uint32_t>(entry.size);
  return (isRoot || hasher.Update(BytesOfObject(entry.name))) &&
         hasher.Update(IsStorage(entry) ? BytesOfObject(entry.classId) : BytesOfObject(size)) &&
         hasher.Update(entry.state) && (isRoot || hasher.Update(entry.times));
}

}  // namespace

std::optional<CkxMsiSignature> CkxMsiSignature::Read(const IkxByteSource& file, uint64_t size) {
  std::optional<CkxCompoundFile> package = CkxCompoundFile::Open(file);
  if (!package || !IsInstallersClass(package->Root().classId)) return std::nullopt;
  CkxMsiSignature signature(*std::move(package));
  const SkxCompoundEntry root = signature._package.Root();
  const auto stream = [&](const WCHAR* name) {
    std::optional<SkxCompoundEntry> entry = signature._package.Find(root, name);
    return entry && entry->kind == EkxCompoundEntry::Stream ? std::move(entry) : std::nullopt;
  };
  signature._messageStream = stream(KXW("\5DigitalSignature"));
  signature._directoryStream = stream(KXW("\5MsiDigitalSignatureEx"));
  if (!signature.IsSigned()) return signature;
  signature._message =
      signature._package.Read(*signature._messageStream, kMaxPackageMessageBytes).value_or(PackageBytes());
  signature._isWhole = signature.AddStorage(root, 0, size);
  return signature;
}

bool CkxMsiSignature::IsSignature(const SkxCompoundEntry& entry) const {
  return AreSame(_messageStream, entry) || AreSame(_directoryStream, entry);
}

/// `left`: bytes that streams may have yet, which lie in the file apart from each other. False for a tree that is
/// broken, or where one name stands for two streams, and one of them was maybe never signed.
bool CkxMsiSignature::AddStorage(const SkxCompoundEntry& storage, size_t depth, uint64_t& left) {
  std::optional<std::vector<SkxCompoundEntry>> children = _package.Children(storage);
  if (!children || depth == kMaxStorageDepth) return false;
  std::sort(children->begin(), children->end(), ComesBefore);
  const auto haveOneName = [](const auto& a, const auto& b) { return a.name == b.name; };
  if (std::adjacent_find(children->begin(), children->end(), haveOneName) != children->end()) return false;

  _steps.push_back({storage});
  for (SkxCompoundEntry& child : *children) {
    if (depth == 0 && IsSignature(child)) continue;
    if (_steps.size() > 2 * _package.EntryCount()) return false;  // a storage that holds itself
    if (child.kind == EkxCompoundEntry::Storage) {
      if (!AddStorage(child, depth + 1, left)) return false;
    } else {
      if (child.kind != EkxCompoundEntry::Stream || child.size > left) return false;
      left -= child.size;
      _steps.push_back({std::move(child)});
    }
  }
  _steps.push_back({storage, true});
  return true;
}

std::optional<PackageBytes> CkxMsiSignature::Digest(EkxHashAlgorithm algorithm, MayRead mayRead) const {
  CkxHasher hasher(algorithm);
  const auto addPiece = [&](std::span<const unsigned char> piece) {
    return mayRead(piece.size()) && hasher.Update(piece);
  };
  const auto addStep = [&](const SkxStep& step) {
    if (step.isEnd) return hasher.Update(BytesOfObject(step.entry.classId));
    return IsStorage(step.entry) || _package.ReadEach(step.entry, addPiece);
  };
  if (_directoryStream) {
    const std::optional<PackageBytes> digest = DirectoryDigest(algorithm);
    if (!digest || !hasher.Update(*digest)) return std::nullopt;
  }
  PackageBytes digest;
  const bool isDone = _isWhole && std::all_of(_steps.begin(), _steps.end(), addStep) && hasher.Finish(digest);
  return isDone ? std::optional(std::move(digest)) : std::nullopt;
}

std::optional<PackageBytes> CkxMsiSignature::DirectoryDigest(EkxHashAlgorithm algorithm) const {
  CkxHasher hasher(algorithm);
  const auto addStep = [&](const SkxStep& step) { return step.isEnd || AddMetadata(hasher, step.entry); };
  PackageBytes digest;
  const bool isDone = _isWhole && std::all_of(_steps.begin(), _steps.end(), addStep) && hasher.Finish(digest);
  return isDone ? std::optional(std::move(digest)) : std::nullopt;
}
