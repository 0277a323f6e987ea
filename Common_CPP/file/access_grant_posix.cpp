#include "Common_CPP/file/access_grant.h"

// What the owner of a file may grant itself here is the mark that it may write, and that is a mark of the file like any
// read-only one: whoever opens it for its attributes has tried that already.

CkxAccessGrant::~CkxAccessGrant() = default;

bool CkxAccessGrant::Ensure(CkxTextView /*path*/) { return false; }
