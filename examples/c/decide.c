/* Asks an image about one target document: decide IMAGE <target.json
 *
 * Prints the answer. Exit code 0 where a policy applies, 1 where none does, 2 where that is not known. */
#include <kx_policy.h>
#include <stdio.h>

/* What standard input has, up to `room` bytes. */
static size_t ReadTarget(char* text, size_t room) {
  size_t size = fread(text, 1, room, stdin);
  return ferror(stdin) ? 0 : size;
}

/* Says why there is no answer. */
static void Complain(int status, const char* error) {
  fprintf(stderr, "decide: %s", kx_policy_status_text(status));
  if (error != NULL) fprintf(stderr, ": %s", error);
  fputc('\n', stderr);
}

int main(int count, char** arguments) {
  static char target[1 << 20];
  kx_policies* policies = NULL;
  char* answer = NULL;
  char* error = NULL;
  int status;
  if (count != 2) {
    fputs("decide IMAGE <target.json\n", stderr);
    return 2;
  }
  status = kx_policy_open_image(arguments[1], &policies, &error);
  if (status == KX_POLICY_OK) {
    size_t size = ReadTarget(target, sizeof(target));
    status = kx_policy_evaluate(policies, target, size, NULL, &answer, &error);
  }
  if (answer != NULL) puts(answer);
  if (status < 0) Complain(status, error);
  kx_policy_free(answer);
  kx_policy_free(error);
  kx_policy_close(policies);
  return status < 0 ? 2 : status;
}
