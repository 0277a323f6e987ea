// Shows what kxpolicy report has put into the page. It decides nothing itself: each decision is one that the command
// made. All texts reach the page as texts, never as markup.
"use strict";
(() => {
  const data = JSON.parse(document.getElementById("data").textContent);
  const decisions = data.decisions;

  // --- Elements -----------------------------------------------------------------------------------------------------

  // A new element; children are elements or texts, and null for none.
  const make = (tag, properties, ...children) => {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(properties || {})) {
      if (name in element) element[name] = value;
      else element.setAttribute(name, value);
    }
    for (const child of children.flat(Infinity)) if (child !== null && child !== undefined) element.append(child);
    return element;
  };
  const named = (text) => make("bdi", {}, text || "(no name)");  // whichever way its letters run, it stays where it is
  const link = (list, index, text) => make("a", { href: `#${list}/${index}` }, named(text));
  const lines = (pairs) => make("dl", {}, pairs.map(([label, text]) => [make("dt", {}, label), make("dd", {}, text)]));
  const counted = (count, one, many) => `${count.toLocaleString("en")} ${count === 1 ? one : many}`;
  const shortened = (text, units) => (text.length > units ? `${text.slice(0, units)} …` : text);

  // --- What belongs together ----------------------------------------------------------------------------------------

  const policiesById = new Map();
  data.policies.forEach((policy, index) => {
    Object.assign(policy, { index, findings: [], decided: 0, sample: [] });
    if (!policiesById.has(policy.id)) policiesById.set(policy.id, policy);
  });
  data.groups.forEach((group, index) => Object.assign(group, { index, findings: [] }));
  data.alerts.forEach((alert, index) => Object.assign(alert, { index, findings: [] }));
  data.users.forEach((row, index) => Object.assign(row, { index, set: new Set(row.policies) }));
  const groupsByName = new Map(data.groups.map((group) => [group.name, group]));
  data.findings.forEach((finding, index) => {
    finding.index = index;
    finding.about = data[finding.section][finding.record];  // none where the section itself is at fault
    if (finding.about) finding.about.findings.push(finding);
  });

  const sample = (decisions ? decisions.sample : []).map(([name, path, commandLine, user, policy, action, error, count]) =>
    ({ name, path, commandLine, user, policy, action, error, count }));
  for (const [index, target] of sample.entries()) {
    target.index = index;
    const policy = policiesById.get(target.policy);
    if (policy) policy.sample.push(target);
  }
  if (decisions) for (const [id, count] of decisions.byPolicy) if (policiesById.has(id)) policiesById.get(id).decided = count;
  const isNever = (policy) => policy.decides && policy.decided === 0;

  const userName = (user) => (user === "*" ? "everybody who has no row" : user);
  const stateOf = (policy) => {
    if (!policy.active) return "inactive";
    if (policy.why) return "not readable";
    return policy.decides ? "decides" : "no launch";
  };
  const targetName = (target) => target.name || target.path || target.commandLine || "(no name)";
  const decisionText = (target) => {
    if (target.policy !== null) return target.action;
    return target.error ? "Not answered" : "No policy applies";
  };

  // --- Searching ----------------------------------------------------------------------------------------------------

  const targetsText = (targets) => (targets || []).map((target) => [target.type, target.group || "", ...target.lines.flat()]);
  const texts = {
    policies: (policy) => [policy.id, policy.name, policy.action, policy.does, policy.why, stateOf(policy),
      (policy.lines || []).flat(), targetsText(policy.targets)],
    groups: (group) => [group.name, group.id, group.why, targetsText(group.targets)],
    alerts: (alert) => [alert.name, alert.id, alert.why, (alert.lines || []).flat()],
    users: (row) => [row.user, userName(row.user), row.policies.map((id) => (policiesById.get(id) || {}).name)],
    findings: (finding) => [finding.severity, finding.rule, finding.path, finding.message, (finding.about || {}).name],
    decisions: (target) => [target.name, target.path, target.commandLine, target.user, decisionText(target), target.error,
      (policiesById.get(target.policy) || {}).name],
  };
  const lists = { policies: data.policies, groups: data.groups, alerts: data.alerts, users: data.users, findings: data.findings, decisions: sample };
  const flatText = (parts) => parts.flat(Infinity).filter((part) => part !== undefined).join("\n").toLowerCase();
  for (const [name, list] of Object.entries(lists)) for (const item of list) item.text = flatText(texts[name](item));
  for (const target of sample) target.program = flatText([target.name, target.path, target.commandLine]);

  const termsOf = (query) => query.toLowerCase().split(/\s+/).filter((term) => term !== "");
  const hasAll = (text, terms) => terms.every((term) => text.includes(term));

  // --- Tables of which only what is on screen exists ----------------------------------------------------------------

  const overscan = 8;
  class Table {
    // `columns`: {head, kind, cell(item)}; `row(item)` is the address that the row leads to, or null.
    constructor(label, columns, address) {
      Object.assign(this, { columns, address, items: [], rows: new Map(), active: 0, height: 34 });
      this.head = make("tr", {}, columns.map((column) => make("th", { scope: "col", className: column.kind || "" }, column.head)));
      this.head.setAttribute("aria-rowindex", "1");
      this.body = make("tbody", {});
      this.table = make("table", {}, make("caption", { className: "hidden" }, label),
        make("colgroup", {}, columns.map((column) => make("col", { className: column.width || "" }))),
        make("thead", {}, this.head), this.body);
      this.element = make("div", { className: "rows", role: "region", tabIndex: 0 }, this.table);
      this.element.setAttribute("aria-label", label);
      this.above = this.spacer();
      this.below = this.spacer();
      this.element.addEventListener("scroll", () => this.render());
      this.element.addEventListener("keydown", (event) => this.onKey(event));
      new ResizeObserver(() => this.render()).observe(this.element);
    }

    spacer() {
      const cell = make("td", {});
      const row = make("tr", { className: "space" }, cell);
      row.setAttribute("aria-hidden", "true");
      row.cell = cell;
      return row;
    }

    // `isSeen`: else it is drawn when its part is.
    show(items, isSeen) {
      this.items = items;
      this.active = 0;
      this.rows.clear();
      this.body.replaceChildren();
      this.table.setAttribute("aria-rowcount", String(items.length + 1));
      if (!isSeen) return;
      this.element.scrollTop = 0;
      this.render();
    }

    row(index) {
      const item = this.items[index];
      const cells = this.columns.map((column) => make("td", { className: column.kind || "" }, column.cell(item)));
      const row = make("tr", {}, cells);
      row.setAttribute("aria-rowindex", String(index + 2));
      if (item === this.chosen) row.setAttribute("aria-selected", "true");
      for (const inner of row.querySelectorAll("a")) inner.tabIndex = index === this.active ? 0 : -1;
      return row;
    }

    render() {
      const first = Math.max(0, Math.floor(this.element.scrollTop / this.height) - overscan);
      const visible = Math.ceil(this.element.clientHeight / this.height) + 2 * overscan;
      const end = Math.min(this.items.length, first + visible);
      const held = this.rows;
      this.rows = new Map();
      for (let index = first; index < end; ++index) this.rows.set(index, held.get(index) || this.row(index));
      const hadFocus = this.body.contains(document.activeElement);
      this.above.cell.style.height = `${first * this.height}px`;
      this.below.cell.style.height = `${(this.items.length - end) * this.height}px`;
      const isSame = this.below.isConnected && held.size === this.rows.size && [...held.keys()].every((index) => this.rows.has(index));
      if (!isSame) this.place([this.above, ...this.rows.values(), this.below]);
      if (hadFocus && !this.body.contains(document.activeElement)) this.element.focus({ preventScroll: true });
      const some = this.rows.values().next().value;
      if (some && some.offsetHeight !== 0 && Math.abs(some.offsetHeight - this.height) >= 1) {
        this.height = some.offsetHeight;
        this.render();
      }
    }

    // Rows that stay are not touched: one of them may have the focus.
    place(wanted) {
      const stays = new Set(wanted);
      for (const row of [...this.body.children]) if (!stays.has(row)) row.remove();
      let next = this.body.firstChild;
      for (const row of wanted) {
        if (row === next) next = next.nextSibling;
        else this.body.insertBefore(row, next);
      }
    }

    onKey(event) {
      const page = Math.max(1, Math.floor(this.element.clientHeight / this.height) - 2);
      const steps = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -Infinity, End: Infinity };
      if (!(event.key in steps) || this.items.length === 0 || event.altKey || event.ctrlKey || event.metaKey) return;
      event.preventDefault();
      const isOnRow = this.body.contains(document.activeElement);
      const step = isOnRow ? steps[event.key] : Number.isFinite(steps[event.key]) ? 0 : steps[event.key];
      this.focusRow(Math.min(this.items.length - 1, Math.max(0, this.active + step)));
    }

    focusRow(index) {
      for (const inner of (this.rows.get(this.active) || document.createElement("i")).querySelectorAll("a")) inner.tabIndex = -1;
      this.active = index;
      const top = index * this.height;
      const room = this.element.clientHeight - 2 * this.height;
      if (top < this.element.scrollTop) this.element.scrollTop = top;
      if (top > this.element.scrollTop + room) this.element.scrollTop = top - room;
      this.render();
      const links = this.rows.get(index).querySelectorAll("a");
      for (const inner of links) inner.tabIndex = 0;
      if (links.length > 0) links[0].focus({ preventScroll: true });
    }

    choose(item) {
      this.chosen = item;
      for (const [index, row] of this.rows) {
        if (this.items[index] === item) row.setAttribute("aria-selected", "true");
        else row.removeAttribute("aria-selected");
      }
    }
  }

  // --- One thing, looked at closely ---------------------------------------------------------------------------------

  const heading = (text) => make("h3", {}, text);
  const policyLink = (id) => link("policies", policiesById.get(id).index, shortened(policiesById.get(id).name, 200));
  const findingLine = (finding) => make("li", { className: finding.severity === "Error" ? "bad" : "warn" },
    `${finding.severity}: ${finding.path ? `${finding.path}: ` : ""}${finding.message} [${finding.rule}]`);
  const findingsOf = (thing) => (thing.findings.length === 0 ? [] :
    [heading("Findings"), make("ul", { className: "plain" }, thing.findings.map(findingLine))]);

  const targetBox = (target) => {
    const group = target.group === null ? null : groupsByName.get(target.group);
    const to = target.group === null ? null : ["Group", group ? link("groups", group.index, group.name) : named(target.group)];
    const pairs = to ? [to, ...target.lines] : target.lines;
    return make("div", { className: "target" }, make("p", {}, target.type),
      pairs.length > 0 ? lines(pairs) : make("p", { className: "faint" }, "whatever it is"));
  };
  const targetsOf = (thing) => {
    const targets = thing.targets || [];
    if (targets.length > 0) return [heading(targets.length > 1 ? "Matches any of" : "Matches"), targets.map(targetBox)];
    if (thing.everything) return [heading("Matches"), make("p", {}, "everything: it has no targets")];
    return thing.withTargets === false || thing.why ? [] : [heading("Matches"), make("p", { className: "warn" }, "nothing: it has no targets")];
  };

  const some = (list, limit, toItem) => [make("ul", { className: "plain" }, list.slice(0, limit).map((item) => make("li", {}, toItem(item)))),
    list.length > limit ? make("p", { className: "faint" }, `and ${list.length - limit} more`) : null];
  const usersOf = (policy) => {
    if (data.users.length === 0) return [make("p", {}, "everybody: there are no rows")];
    const rows = data.users.filter((row) => row.set.has(policy.id));
    if (rows.length === 0) return [make("p", { className: "warn" }, "nobody: no row names it")];
    return some(rows, 100, (row) => link("users", row.index, userName(row.user)));
  };
  const targetLine = (target) => [link("decisions", target.index, targetName(target)), target.name && target.path ? make("span", { className: "faint" }, " ", make("bdi", {}, target.path)) : null,
    target.count > 1 ? ` (${counted(target.count, "time", "times")})` : null];

  const details = {
    policies: (policy) => [
      make("h2", { tabIndex: -1 }, named(policy.name)),
      lines([["Policy", String(policy.id)], ["Action", policy.does ? `${policy.action}: ${policy.does}` : policy.action],
        ["Place", `${policy.index + 1} of ${data.policies.length}: the first that applies decides`],
        ["State", { inactive: "inactive: it is passed over", "not readable": "not readable", decides: "decides about launches",
          "no launch": "decides about no launch; the agent asks for it by its action" }[stateOf(policy)]], ...(policy.lines || [])]),
      policy.why ? make("p", { className: "bad" }, policy.why) : null,
      targetsOf(policy), heading("For"), usersOf(policy), findingsOf(policy),
      decisions && policy.decides ? [heading("Decided"),
        make("p", { className: policy.decided === 0 ? "warn" : "" }, policy.decided === 0 ? "about none of the targets" : `about ${counted(policy.decided, "target", "targets")}, such as`),
        some(policy.sample, 20, targetLine)] : null,
    ],
    groups: (group) => {
      const linked = (thing) => (thing.targets || []).some((target) => target.group === group.name);
      const policies = data.policies.filter(linked);
      const groups = data.groups.filter(linked);
      return [make("h2", { tabIndex: -1 }, named(group.name)), lines([["Group", group.id]]),
        group.why ? make("p", { className: "bad" }, group.why) : null, targetsOf(group), findingsOf(group),
        heading("Linked by"), policies.length + groups.length === 0 ? make("p", { className: "faint" }, "no target") :
          [some(policies, 100, (policy) => link("policies", policy.index, policy.name)),
            groups.length > 0 ? some(groups, 100, (other) => link("groups", other.index, other.name)) : null]];
    },
    alerts: (alert) => [make("h2", { tabIndex: -1 }, named(alert.name)), lines([["Alert", alert.id], ...(alert.lines || [])]),
      alert.why ? make("p", { className: "bad" }, alert.why) : null, findingsOf(alert)],
    users: (row) => [make("h2", { tabIndex: -1 }, named(userName(row.user))),
      make("p", {}, row.policies.length === 0 ? "No policy applies: this row is for nobody." :
        `${counted(row.policies.length, "policy", "policies")}, and those of the rows of groups that the user is in`),
      some(row.policies, 200, (id) => (policiesById.has(id) ? link("policies", policiesById.get(id).index, policiesById.get(id).name) : `${id}: no such policy`))],
    findings: (finding) => [make("h2", { tabIndex: -1 }, `${finding.severity}: ${finding.rule}`), make("p", {}, finding.message),
      lines([["About", finding.about ? link(finding.section, finding.record, finding.about.name) : `the section ${finding.section}`], ["Place", finding.path || "the record"]])],
    decisions: (target) => [make("h2", { tabIndex: -1 }, named(targetName(target))),
      lines([["Decision", decisionText(target)], ["Policy", policiesById.has(target.policy) ? policyLink(target.policy) : target.policy === null ? "none" : String(target.policy)],
        ["Path", make("bdi", {}, target.path || "not said")], ["Command line", make("bdi", {}, target.commandLine || "not said")], ["User", target.user || "nobody known"], ["Times", target.count.toLocaleString("en")]]),
      target.error ? make("p", { className: "bad" }, target.error) : null],
  };

  // --- The parts of the page ----------------------------------------------------------------------------------------

  const byId = (id) => document.getElementById(id);
  const parts = {};  // by name: {title, element, tab, table, detail, filter}
  const policyCell = (id) => (policiesById.has(id) ? policyLink(id) : id === null ? "" : String(id));
  const column = (head, cell, width, kind) => ({ head, cell, width, kind });
  const main = (list) => (item) => link(list, item.index, shortened(item.name, 200));
  const findingsCell = (thing) => {
    const errors = thing.findings.filter((finding) => finding.severity === "Error").length;
    const warnings = thing.findings.length - errors;
    return errors > 0 ? make("span", { className: "bad" }, counted(errors, "error", "errors")) :
      warnings > 0 ? make("span", { className: "warn" }, counted(warnings, "warning", "warnings")) : "";
  };

  const choice = (id, label, options) => make("div", {}, make("label", { htmlFor: id }, label),
    make("select", { id }, options.map(([value, text]) => make("option", { value }, text))));
  const addPart = (name, title, tools, table) => {
    const part = { name, title, table, items: lists[name] || [] };
    part.heading = make("h2", { className: "hidden", id: `title-${name}` }, title);
    part.element = make("section", { id: `part-${name}`, hidden: true }, part.heading, tools);
    part.element.setAttribute("aria-labelledby", `title-${name}`);
    if (table) {
      part.detail = make("article", { className: "detail", id: `detail-${name}` });
      part.detail.setAttribute("aria-live", "off");
      part.split = make("div", { className: "split alone" }, table.element, part.detail);
      part.element.append(part.split);
    }
    part.count = make("span", { className: "count" });
    part.tab = make("a", { href: `#${name}` }, `${title} `, part.count);
    byId("tabs").append(make("li", {}, part.tab));
    byId("main").append(part.element);
    parts[name] = part;
  };

  const overview = () => {
    const card = (title, pairs, source) => make("div", { className: "card" }, make("h2", {}, title), source ? make("p", { className: "faint" }, make("bdi", {}, source)) : null, lines(pairs));
    const actions = new Map();
    for (const policy of data.policies) actions.set(policy.action, (actions.get(policy.action) || 0) + 1);
    const errors = data.findings.filter((finding) => finding.severity === "Error").length;
    const never = data.policies.filter(isNever).length;
    return make("div", { className: "overview" },
      card("Policies", [["In all", String(data.policies.length)], ["Decide about launches", String(data.policies.filter((policy) => policy.decides).length)],
        ["Inactive", String(data.policies.filter((policy) => !policy.active).length)], ["Groups", String(data.groups.length)],
        ["Alerts", String(data.alerts.length)], ["Rows of users", String(data.users.length)]]),
      card("What they do", [...actions].map(([action, count]) => [action || "(unknown)", String(count)])),
      card("Findings", [["Errors", make("span", { className: errors > 0 ? "bad" : "good" }, String(errors))],
        ["Warnings", make("span", { className: data.findings.length > errors ? "warn" : "good" }, String(data.findings.length - errors))]]),
      decisions ? card("Decisions", [["Targets", decisions.targets.toLocaleString("en")],
        ["Decided by a policy", decisions.decided.toLocaleString("en")], ["No policy applies", decisions.undecided.toLocaleString("en")],
        ["Not answered", decisions.unanswered.toLocaleString("en")], ["Lines that are no target", decisions.unusable.toLocaleString("en")],
        ["Policies that never decided", make("button", { type: "button", id: "never", className: never > 0 ? "warn" : "good", "aria-label": `Show the ${counted(never, "policy", "policies")} that never decided` }, String(never))]], decisions.source) : null);
  };

  const setUpParts = () => {
    addPart("overview", "Overview", overview());
    addPart("policies", "Policies", make("div", { className: "tools" },
      choice("show", "Show", [["all", "All"], ["decides", "That decide about launches"], ["inactive", "Inactive"], ["findings", "With findings"],
        ...(decisions ? [["decided", "That decided something"], ["never", "That never decided"]] : [])]),
      choice("action", "Action", [["", "Any"], ...[...new Set(data.policies.map((policy) => policy.action))].sort().map((action) => [action, action || "(unknown)"])])),
    new Table("Policies, in the order in which they are asked", [
      column("Place", (policy) => String(policy.index + 1), "narrow", "number"), column("Name", main("policies")), column("Id", (policy) => String(policy.id), "narrow extra", "number extra"),
      column("Action", (policy) => policy.action, "middle"), column("State", stateOf, "middle extra", "extra"),
      ...(decisions ? [column("Decided", (policy) => (policy.decides ? policy.decided.toLocaleString("en") : ""), "narrow", "number")] : []),
      column("Findings", findingsCell, "findings")]));
    addPart("groups", "Groups", null, new Table("Application groups", [column("Name", main("groups")),
      column("Targets", (group) => (group.targets ? String(group.targets.length) : "not readable"), "narrow", "number"), column("Findings", findingsCell, "findings")]));
    addPart("alerts", "Alerts", null, new Table("Alerts", [column("Name", main("alerts")), column("Findings", findingsCell, "findings")]));
    addPart("users", "Users", data.users.length === 0 ? make("p", {}, "There are no rows: every policy applies to everybody.") : null,
      new Table("Users and their policies", [column("User", (row) => link("users", row.index, userName(row.user))), column("Policies", (row) => String(row.policies.length), "narrow", "number")]));
    addPart("findings", "Findings", null, new Table("Findings", [column("Severity", (finding) => make("span", { className: finding.severity === "Error" ? "bad" : "warn" }, finding.severity), "narrow"),
      column("What", (finding) => link("findings", finding.index, shortened(finding.message, 500))),
      column("About", (finding) => (finding.about ? link(finding.section, finding.record, shortened(finding.about.name, 200)) : finding.section), "middle"),
      column("Place", (finding) => shortened(finding.path, 200), "middle extra", "extra"), column("Rule", (finding) => finding.rule, "middle extra", "extra")]));
    if (decisions) {
      addPart("decisions", "Decisions", [
        make("div", { className: "tools" }, make("div", { className: "wide" }, make("label", { htmlFor: "program" }, "What if this program starts? Its name, path or command line"),
          make("input", { id: "program", type: "search", autocomplete: "off", spellcheck: false }))),
        make("p", { id: "program-results", role: "status" }),
        make("p", { className: "faint" }, `Each is a decision that kxpolicy made about a target of ${decisions.source}; the page makes none itself.` +
          (decisions.leftOut > 0 ? ` ${counted(decisions.leftOut, "target is", "targets are")} counted, but not listed here.` : "")),
        decisions.faults.length > 0 ? make("details", {}, make("summary", { className: "bad" }, counted(decisions.unusable, "line is no target", "lines are no targets")),
          make("ul", { className: "plain" }, decisions.faults.map((fault) => make("li", {}, `Line ${fault.line}: ${fault.why}`)))) : null],
      new Table("Targets and what was decided about them", [column("Target", (target) => link("decisions", target.index, shortened(targetName(target), 200))), column("Path", (target) => make("bdi", {}, shortened(target.path, 200)), "", "extra"),
        column("User", (target) => target.user, "middle extra", "extra"), column("Decision", (target) => make("span", { className: target.error ? "bad" : "" }, decisionText(target)), "middle"),
        column("Policy", (target) => policyCell(target.policy)), column("Times", (target) => target.count.toLocaleString("en"), "narrow", "number")]));
    }
  };

  // --- What is shown ------------------------------------------------------------------------------------------------

  const policyFilters = { all: () => true, decides: (policy) => policy.decides, inactive: (policy) => !policy.active,
    findings: (policy) => policy.findings.length > 0, decided: (policy) => policy.decided > 0, never: isNever };
  const shown = (name) => {
    const terms = termsOf(byId("query").value);
    const found = lists[name].filter((item) => hasAll(item.text, terms));
    if (name === "policies") {
      const passes = policyFilters[byId("show").value];
      const action = byId("action").value;
      return found.filter((policy) => passes(policy) && (action === "" || policy.action === action));
    }
    if (name !== "decisions") return found;
    const program = termsOf(byId("program").value);
    return found.filter((target) => hasAll(target.program, program));
  };

  const update = () => {
    const told = [];
    for (const part of Object.values(parts)) {
      if (!part.table) continue;
      part.found = shown(part.name);
      part.table.show(part.found, !part.element.hidden);
      const isAll = part.found.length === part.items.length;
      part.count.textContent = isAll ? String(part.items.length) : `${part.found.length} of ${part.items.length}`;
      if (!isAll) told.push(`${part.title}: ${part.found.length} of ${part.items.length}`);
    }
    byId("results").textContent = told.join("; ");
    if (decisions) byId("program-results").textContent = counted(parts.decisions.found.length, "decision", "decisions");
  };

  // "#policies/17": the part, and in it the thing.
  const route = () => {
    const [name, index] = location.hash.slice(1).split("/");
    if (name === "main") return;
    const part = parts[name] || parts.overview;
    for (const other of Object.values(parts)) {
      other.element.hidden = other !== part;
      if (other === part) other.tab.setAttribute("aria-current", "page");
      else other.tab.removeAttribute("aria-current");
    }
    if (!part.table) return;
    const thing = index !== undefined ? part.items[Number(index)] : undefined;
    part.split.classList.toggle("alone", !thing);
    part.table.choose(thing);
    part.detail.replaceChildren(...(thing ? details[part.name](thing).flat(Infinity).filter((child) => child) : []));
    part.detail.scrollTop = 0;
    part.table.render();
    if (thing) part.detail.querySelector("h2").focus({ preventScroll: true });
  };

  // All that is found, not what is on screen: paper does not scroll.
  const print = () => {
    const article = (name) => (thing) => make("article", {}, details[name](thing).flat(Infinity).filter((child) => child));
    const printed = [make("h2", {}, "Overview"), overview()];
    for (const part of Object.values(parts)) {
      if (!part.table || part.found.length === 0) continue;
      printed.push(make("h2", {}, part.title));
      printed.push(...part.found.map(article(part.name)));
    }
    byId("printed").replaceChildren(...printed);
  };

  // --- What people do -----------------------------------------------------------------------------------------------

  const isDark = () => {
    const chosen = document.documentElement.dataset.theme;
    return chosen ? chosen === "dark" : matchMedia("(prefers-color-scheme: dark)").matches;
  };
  const showTheme = () => byId("theme").setAttribute("aria-pressed", String(isDark()));

  const onKey = (event) => {
    const isTyping = /^(INPUT|SELECT|TEXTAREA)$/.test(event.target.tagName);
    if (event.key === "/" && !isTyping && !event.ctrlKey && !event.metaKey && !event.altKey) {
      event.preventDefault();
      byId("query").focus();
    } else if (event.key === "Escape" && event.target.type === "search" && event.target.value !== "") {
      event.preventDefault();
      event.target.value = "";
      update();
    } else if (event.key === "Escape" && !isTyping && event.target.closest(".detail")) {
      const part = Object.values(parts).find((each) => each.element.contains(event.target));
      const index = part.found.indexOf(part.table.chosen);
      location.hash = part.name;
      if (index >= 0) part.table.focusRow(index);
    }
  };

  byId("source").append(named(data.title));
  document.title = `${shortened(data.title, 200)} - policy report`;
  setUpParts();
  update();
  route();
  showTheme();
  addEventListener("hashchange", route);
  addEventListener("beforeprint", print);
  addEventListener("afterprint", () => byId("printed").replaceChildren());
  addEventListener("keydown", onKey);
  document.addEventListener("input", (event) => { if (event.target.matches("input")) update(); });
  document.addEventListener("change", (event) => { if (event.target.matches("select")) update(); });
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", showTheme);
  byId("theme").addEventListener("click", () => {
    document.documentElement.dataset.theme = isDark() ? "light" : "dark";
    showTheme();
  });
  const never = byId("never");
  if (never) never.addEventListener("click", () => {
    byId("show").value = "never";
    update();
    location.hash = "policies";
  });
})();
