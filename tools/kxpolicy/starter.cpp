#include "tools/kxpolicy/starter.h"

const std::array<SkxStarterFile, 2> kKxStarterFiles = {{
    {"policies.jsonc",
     R"json(// Policies. The first one that applies decides, from the top down: what is let through stands above what is blocked in
// general. Compile them, look for mistakes, and hold them against their cases:
//
//   kxpolicy compile policies.jsonc -o image
//   kxpolicy check policies.jsonc
//   kxpolicy test policies.jsonc tests/cases.jsonc --coverage
{
  // Things that several policies name.
  "applicationGroups": [
    {
      "name": "Office",
      "targets": [
        { "type": "executable", "fileName": "winword.exe" },
        { "type": "executable", "fileName": "excel.exe" }
      ]
    }
  ],

  "policies": [
    // A target is met when all that it asks for is so; a policy applies when one of its targets is met.
    {
      "id": 1,
      "name": "Our own installers are elevated",
      "action": "elevate",
      "targets": [{ "type": "msi", "publishers": ["Example Ltd"], "productVersion": { "min": "2.0" } }]
    },

    // Who started a program can matter more than which it is.
    {
      "id": 2,
      "name": "Office starts no scripts",
      "action": "block",
      "alerts": [{ "trigger": 2, "id": "Blocked" }],
      "targets": [
        {
          "type": "executable",
          "fileName": { "pattern": "(wscript|cscript|powershell)\\.exe", "compareAs": "regExp" },
          "parentProcess": { "includedGroup": "Office", "includedAnyAncestor": true }
        }
      ]
    },

    // * and ? stand for other characters.
    {
      "id": 3,
      "name": "Nothing from download folders",
      "action": "block",
      "alerts": [{ "trigger": 2, "id": "Blocked" }],
      "targets": [{ "type": "executable", "location": "C:\\Users\\*\\Downloads\\*" }]
    }
  ],

  // What the user is shown, by the names that policies call it.
  "alerts": [{ "name": "Blocked", "type": "balloon" }],

  // Which policies a user has, by SID; "*" is for everybody without a row. Without this every policy is for everybody.
  "applicable": { "*": [1, 2, 3] }
}
)json"},
    {"tests/cases.jsonc", R"json(// Targets, and the decision that is expected of each. From the folder above:
//
//   kxpolicy test policies.jsonc tests/cases.jsonc --coverage
{
  "cases": [
    // A target is described by what is known of it; "kxpolicy describe FILE" writes such a description.
    {
      "name": "A download is blocked, and the user is told",
      "target": { "kind": "file", "path": "C:\\Users\\ann\\Downloads\\setup.exe" },
      "expect": { "action": "block", "policy": "Nothing from download folders", "alert": "Blocked" }
    },

    // Rows differ from the target in what they name; null takes a member out.
    {
      "name": "Only our own installers of today are elevated",
      "target": {
        "kind": "file", "path": "C:\\Users\\ann\\Downloads\\tool.msi",
        "msi": { "ProductVersion": "2.1" }, "signers": [{ "name": "Example Ltd", "status": "valid" }]
      },
      "rows": [{}, { "path": "D:\\tool.msi" }],
      "expect": "elevate"
    },
    {
      "name": "Others and older ones are not",
      "target": {
        "kind": "file", "path": "C:\\Users\\ann\\Downloads\\tool.msi",
        "msi": { "ProductVersion": "2.1" }, "signers": [{ "name": "Example Ltd", "status": "valid" }]
      },
      "rows": [{ "signers": null }, { "signers": [{ "name": "Example Ltd", "status": "expired" }] }, { "msi": { "ProductVersion": "1.9" } }],
      "expect": "none"
    },
    {
      "name": "Office starts no scripts",
      "target": { "kind": "process", "path": "C:\\Windows\\System32\\wscript.exe" },
      "rows": [
        { "parent": { "kind": "process", "path": "C:\\Program Files\\Office\\winword.exe" } },
        { "parent": { "kind": "process", "path": "C:\\Program Files\\Office\\excel.exe" } }
      ],
      "expect": { "policy": 2 }
    },
    {
      "name": "Others may",
      "target": {
        "kind": "process", "path": "C:\\Windows\\System32\\wscript.exe",
        "parent": { "kind": "process", "path": "C:\\Windows\\explorer.exe" }
      },
      "expect": "none"
    }

    // Recorded targets, one a line, can be held against a rule:
    //
    //   { "name": "Nothing that we signed is blocked",
    //     "events": "week.jsonl", "where": { "signers": [{ "name": "Example*" }] }, "expectNot": "block" }
  ]
}
)json"},
}};
