// Each of the system's calls fails in turn, at every step of every operation: a file has what it had, or what it was to
// have, and is marked as it was.
#include <gtest/gtest.h>
#include <kx_util/ext_file_attributes.h>
#include <kx_util/src_url_data.h>
#include <kx_util/supplemental_file_data.h>

#include <functional>

#include "tests/support/fake_native_ea.h"
#include "tests/support/secret_scope.h"
#include "tests/support/temp_folder.h"

namespace {

using Data = CkxSupplementalFileData;

/// The table in force before, of which one call fails.
struct FailingCalls {
  const SkxNativeEa* system;
  size_t made;
  size_t failAt;
};
thread_local FailingCalls failingCalls;

template <auto member, class... Arguments>
long CallUnlessItFails(Arguments... arguments) {
  if (failingCalls.made++ == failingCalls.failAt) return kKxStatusUnsuccessful;
  return (failingCalls.system->*member)(arguments...);
}

const SkxNativeEa& TableOfFailingCalls() {
  static const SkxNativeEa table = {
      [](CkxTextView path, unsigned access, intptr_t& file) {
        return CallUnlessItFails<&SkxNativeEa::open, CkxTextView, unsigned, intptr_t&>(path, access, file);
      },
      [](intptr_t file) { failingCalls.system->close(file); },
      [](intptr_t file, uint64_t& id) {
        return CallUnlessItFails<&SkxNativeEa::fileId, intptr_t, uint64_t&>(file, id);
      },
      [](intptr_t file, SkxNativeEa::Bytes list) { return CallUnlessItFails<&SkxNativeEa::set>(file, list); },
      [](intptr_t file, SkxNativeEa::Bytes question, std::span<unsigned char> answer, size_t& written) {
        return CallUnlessItFails<&SkxNativeEa::query, intptr_t, SkxNativeEa::Bytes, std::span<unsigned char>, size_t&>(
            file, question, answer, written);
      },
      [](intptr_t file, uint32_t& bytes) {
        return CallUnlessItFails<&SkxNativeEa::querySize, intptr_t, uint32_t&>(file, bytes);
      },
      [](intptr_t file, bool& readOnly) {
        return CallUnlessItFails<&SkxNativeEa::isReadOnly, intptr_t, bool&>(file, readOnly);
      },
      [](intptr_t file, bool readOnly) { return CallUnlessItFails<&SkxNativeEa::setReadOnly>(file, readOnly); },
      [](intptr_t file) { return failingCalls.system->areKernelEasCurrent(file); },
      [] { return failingCalls.system->hasKernelEas(); },
      nullptr,
  };
  return table;
}

CkxFileOrigin OriginOfTime(uint64_t time) {
  CkxFileOrigin origin;
  origin.Installer().InstallTime() = time;
  return origin;
}

class KeptFaults : public testing::Test {
 protected:
  using Eas = decltype(CkxFakeNativeEa::File::eas);

  struct Faulty {
    const char* name;
    std::function<bool()> operation;
    bool mayStopHalfway;  ///< between two attributes: what it does is one after the other
  };

  /// As it was before each operation: what is kept with both files.
  void Prepare() {
    _fake.At(_file) = {};
    _fake.At(_other) = {};
    ASSERT_TRUE(Data(OriginOfTime(1)).ToFile(_file.c_str()) && Data(OriginOfTime(2)).ToFile(_other.c_str()));
    ASSERT_TRUE(CkxSrcUrlData(KXW("a:b")).ToFile(_file.c_str()) && CkxSrcUrlData(KXW("c:d")).ToFile(_other.c_str()));
    _fake.At(_file).isReadOnly = _fake.At(_other).isReadOnly = true;
  }
  std::pair<Eas, Eas> State() { return {_fake.At(_file).eas, _fake.At(_other).eas}; }

  const CkxSecretScope _secrets;
  const CkxTempFolder _folder;
  const KxWString _file = _folder.Write("file", "content");
  const KxWString _other = _folder.Write("other", "content");
  CkxFakeNativeEa _fake;
};

TEST_F(KeptFaults, LeaveWhatWasThereOrWhatWasToBe) {
  const WCHAR* const file = _file.c_str();
  const Faulty operations[] = {
      {"set", [&] { return Data(OriginOfTime(3)).ToFile(file); }, false},
      {"copy", [&] { return Data::Copy(file, _other.c_str()); }, false},
      {"delete", [&] { return Data::DeleteFromFile(file); }, true},
      {"delete all", [&] { return CkxExtFileAttributes::DeleteAllFromFile(file, true); }, true},
      {"read", [&] { return Data().FromFile(file); }, false},
  };
  for (const Faulty& faulty : operations) {
    SCOPED_TRACE(faulty.name);
    Prepare();
    const std::pair<Eas, Eas> before = State();
    failingCalls = {&KxNativeEa(), 0, SIZE_MAX};
    {
      const CkxNativeEaScope counting(TableOfFailingCalls());
      ASSERT_TRUE(faulty.operation());
    }
    const size_t calls = failingCalls.made;
    const std::pair<Eas, Eas> after = State();
    ASSERT_GT(calls, 2u);
    for (size_t failAt = 0; failAt < calls; ++failAt) {
      SCOPED_TRACE(failAt);
      Prepare();
      failingCalls = {&KxNativeEa(), 0, failAt};
      bool isDone = false;
      {
        const CkxNativeEaScope failing(TableOfFailingCalls());
        isDone = faulty.operation();
      }
      const std::pair<Eas, Eas> state = State();
      if (!faulty.mayStopHalfway) {
        EXPECT_TRUE(state == (isDone ? after : before) || (!isDone && state == after));
      }
      for (const auto& [name, value] : state.first) {
        const auto isKept = [&, &kept = name, &bytes = value](const Eas& eas) {
          return std::find(eas.begin(), eas.end(), std::pair(kept, bytes)) != eas.end();
        };
        EXPECT_TRUE(isKept(before.first) || isKept(after.first)) << name;
      }
      EXPECT_EQ(_fake.OpenFiles(), 0u);
      EXPECT_TRUE(_fake.At(_other).isReadOnly);
    }
  }
}

}  // namespace
