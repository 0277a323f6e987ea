#include "Common_CPP/util/com.h"

int32_t KxCom_Initialize() { return 0; }
void KxCom_Uninitialize() {}
