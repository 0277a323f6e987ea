// COM stays initialised for as long as a policy exists: some of what policies call needs it. The first reference
// initialises it, the last one uninitialises it on whatever thread that happens.
//
// A walk makes and destroys thousands of policies. It holds a reference of its own meanwhile, so that none of them is
// the first or the last: then a policy costs two atomic operations and no lock.
#pragma once

class CkxPolicyComReference {
 public:
  CkxPolicyComReference() { Acquire(); }
  ~CkxPolicyComReference() { Release(); }
  CkxPolicyComReference(const CkxPolicyComReference&) = delete;
  CkxPolicyComReference& operator=(const CkxPolicyComReference&) = delete;

  static void Acquire();
  static void Release();
};
