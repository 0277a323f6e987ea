// A machine that knows one program, and the signer of its file.
#pragma once

#include "Common_CPP/secure_named_pipe/peer_identity.h"

struct CkxKnownProgram : IkxProcessIdentity {
  CkxKnownProgram(uint32_t process, std::optional<KxWString> program, std::optional<KxWString> signedBy)
      : processId(process), image(std::move(program)), signer(std::move(signedBy)), before(KxPeer_SetIdentity(this)) {}
  ~CkxKnownProgram() override { KxPeer_SetIdentity(before); }
  CkxKnownProgram(const CkxKnownProgram&) = delete;
  CkxKnownProgram& operator=(const CkxKnownProgram&) = delete;

  std::optional<KxWString> Image(uint32_t process) const override {
    return process == processId ? image : std::nullopt;
  }
  std::optional<KxWString> Signer(const KxWString& path) const override {
    return path == image ? signer : std::nullopt;
  }

  const uint32_t processId;
  const std::optional<KxWString> image;
  const std::optional<KxWString> signer;
  const IkxProcessIdentity* const before;
};
