// Secrets of a test's own for the length of a scope, in place of the installed ones.
#pragma once

#include <kx_util/secret_provider.h>

#include <string>
#include <vector>

class CkxSecretScope {
 public:
  /// Keys, that of today first. An empty pass phrase is none.
  explicit CkxSecretScope(std::vector<std::string> keys = {"0123456789abcdef"}, std::string passPhrase = "pass")
      : _before(KxUtil_SetSecretProvider(std::make_shared<Provider>(std::move(keys), std::move(passPhrase)))) {}
  ~CkxSecretScope() { KxUtil_SetSecretProvider(_before); }
  CkxSecretScope(const CkxSecretScope&) = delete;
  CkxSecretScope& operator=(const CkxSecretScope&) = delete;

 private:
  class Provider : public IkxSecretProvider {
   public:
    Provider(std::vector<std::string> keys, std::string passPhrase)
        : _keys(std::move(keys)), _passPhrase(std::move(passPhrase)) {}
    bool Key(unsigned number, CkxSecret& key) const noexcept override {
      return number < _keys.size() && Take(_keys[number], key);
    }
    bool PassPhrase(CkxSecret& phrase) const noexcept override {
      return !_passPhrase.empty() && Take(_passPhrase, phrase);
    }

   private:
    static bool Take(const std::string& text, CkxSecret& secret) {
      return secret.Assign({reinterpret_cast<const unsigned char*>(text.data()), text.size()});
    }
    const std::vector<std::string> _keys;
    const std::string _passPhrase;
  };

  const std::shared_ptr<const IkxSecretProvider> _before;
};
