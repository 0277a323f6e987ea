#include "tools/kxpolicy/finding_report.h"

#include <ostream>

void CkxFindingReport::Add(const SkxCheckFinding& finding) {
  ++(finding.isError ? _errors : _warnings);
  _out << (_asJson ? finding.ToJson() : finding.ToText()) << '\n';
}
