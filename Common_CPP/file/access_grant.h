// The right to set a file's attributes, for whoever may change who has it: given for as long as the object lives, and
// taken back then.
//
//   CkxAccessGrant grant;
//   if (IsDenied(path) && grant.Ensure(path)) ...  // open it again
//
// Only what says who may do what with the file is changed, never what the system records of it, its owner or its
// marks. It is put back to the byte, through the handle that it was changed through, so that a file that takes the name
// meanwhile is left alone.
#pragma once

#include <vector>

#include "Common_CPP/util/text_view.h"

class CkxAccessGrant {
 public:
  CkxAccessGrant() = default;
  ~CkxAccessGrant();
  CkxAccessGrant(const CkxAccessGrant&) = delete;
  CkxAccessGrant& operator=(const CkxAccessGrant&) = delete;

  /// To the thread's user. False, with nothing changed, where the caller may not give it.
  bool Ensure(CkxTextView path);

 private:
  intptr_t _file = -1;  ///< of the file whose rights are to be put back; -1: of none
  KxWString _path;      ///< for the trace
  std::vector<unsigned char> _former;
};
