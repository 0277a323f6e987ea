#include "Common_CPP/signature/trust_functions_win.h"

const SkxTrustFunctions& SkxTrustFunctions::Get() {
  static const SkxTrustFunctions functions;
  return functions;
}
