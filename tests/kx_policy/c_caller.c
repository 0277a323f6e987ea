#include "c_caller.h"

#include <kx_policy.h>
#include <string.h>

static int Ask(const kx_policies* policies, const char* target, char* answer, size_t room) {
  kx_policy_options options = {0};
  char* text = NULL;
  int status = KX_POLICY_INTERNAL;
  options.size = sizeof(options);
  options.fields = KX_POLICY_BRIEF;
  status = kx_policy_evaluate(policies, target, strlen(target), &options, &text, NULL);
  if (text != NULL && strlen(text) < room) strcpy(answer, text);
  kx_policy_free(text);
  return status;
}

int KxTestC_CompileAndAsk(const char* text, const char* folder, const char* target, char* answer, size_t room) {
  kx_policy_document document = {"policies.jsonc", NULL, 0};
  kx_policies* policies = NULL;
  int status = KX_POLICY_INTERNAL;
  document.text = text;
  document.size = strlen(text);
  status = kx_policy_compile(&document, 1, folder, NULL);
  if (status == KX_POLICY_OK) status = kx_policy_open_image(folder, &policies, NULL);
  if (status == KX_POLICY_OK) status = Ask(policies, target, answer, room);
  kx_policy_close(policies);
  return status;
}
