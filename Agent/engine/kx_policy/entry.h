// What each function of the C interface is made of: results that begin as NULL, whatever is thrown ended as a status,
// and the line that says why.
//
//   int kx_policy_thing(const char* argument, char** result, char** error) {
//     return KxPolicyEntry(error, [&] {
//       KxPolicyEntry_Require(argument != nullptr, "argument is NULL");
//       KxPolicyEntry_HandOut(TextOf(argument), result);
//       return KX_POLICY_OK;
//     });
//   }
#pragma once

#include <kx_policy.h>

#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Agent/engine/kx_publish/document/json_reader.h"

/// Ends a function of the interface with `status` and a line for its caller.
class CkxPolicyEntryFault : public std::runtime_error {
 public:
  CkxPolicyEntryFault(int status, const std::string& line) : std::runtime_error(line), _status(status) {}
  int Status() const { return _status; }

 private:
  int _status;
};

inline void KxPolicyEntry_Require(bool isUsable, const char* otherwise) {
  if (!isUsable) throw CkxPolicyEntryFault(KX_POLICY_ARGUMENT, otherwise);
}

/// Sets `result` to a copy of `text`, which `kx_policy_free` frees. Throws std::bad_alloc.
void KxPolicyEntry_HandOut(std::string_view text, char** result);

/// Sets `error`, unless it is null, to `line` as it can be shown; it stays null where there is no memory for it.
void KxPolicyEntry_Tell(std::string_view line, char** error) noexcept;

/// `status`, with the line in `error`.
inline int KxPolicyEntry_Fail(int status, std::string_view line, char** error) noexcept {
  KxPolicyEntry_Tell(line, error);
  return status;
}

template <class Function>
int KxPolicyEntry(char** error, Function&& function) noexcept {
  if (error != nullptr) *error = nullptr;
  try {
    return std::forward<Function>(function)();
  } catch (const CkxPolicyEntryFault& fault) {
    return KxPolicyEntry_Fail(fault.Status(), fault.what(), error);
  } catch (const std::bad_alloc&) {
    return KxPolicyEntry_Fail(KX_POLICY_NO_MEMORY, "out of memory", error);
  } catch (const std::length_error&) {  // a text longer than any memory
    return KxPolicyEntry_Fail(KX_POLICY_NO_MEMORY, "out of memory", error);
  } catch (const std::exception& fault) {
    return KxPolicyEntry_Fail(KX_POLICY_INTERNAL, fault.what(), error);
  } catch (...) {
    return KxPolicyEntry_Fail(KX_POLICY_INTERNAL, "something was thrown", error);
  }
}
