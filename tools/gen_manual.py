#!/usr/bin/env python3
"""Writes libanvil's reference manual from its public headers.

Each header under include/anvil/ opens with a comment describing its family;
a contract comment stands above each ANVIL_API declaration (one comment may
serve several declarations written on consecutive lines), and a comment
followed by a blank line states what all the declarations after it share.
The first paragraph of the family comment is the family's title, the rest
its notes. From these come one section-3 man page per function and one
Markdown page per family, plus an index. RETURN VALUE is read from the
contract's sentences that say "returns" (or its opening noun phrase, "The
number of ..."); ERRORS from the errno names it mentions, each explained by
the words around it, and from whose errno passes through ("read's errno").


    gen_manual.py [--strict] [--map MAP] [--version V] INCLUDE_DIR OUT_DIR

writes OUT_DIR/man3/<function>.3 and OUT_DIR/md/<family>.md. With --map, every
name exported by the version script must have a page. With --strict, a
contract from which no return value or errors can be read is an error rather
than a warning: the fix is a better comment in the header.
"""
import argparse
import errno
import os
import re
import sys

ERRNO_NAMES = set(errno.errorcode.values())
CODE_RE = re.compile(r"\bE[A-Z0-9]{2,}\b")
RETURN_RE = re.compile(r"\b[Rr]eturn(s|ed)?\b")


def sentences(text):
    """Splits prose into sentences, keeping their final stop."""
    text = " ".join(text.split())
    # An initial, as in "Peter J. Weinberger", does not end a sentence.
    # Sentences may open with a lower-case name ("count must not be ...").
    return [s for s in re.split(r"(?<![ .][A-Z]\.)(?<=[^.][.!?])\s+(?=[A-Za-z0-9_(\"'-])", text) if s]


def codes_in(text):
    return [c for c in CODE_RE.findall(text) if c in ERRNO_NAMES]


def comment_text(lines):
    """The text of a /* ... */ block given as source lines, one entry per line."""
    out = []
    for line in lines:
        line = line.strip()
        if line.startswith("/*"):
            line = line[2:]
        if line.endswith("*/"):
            line = line[:-2]
        line = line.rstrip()
        if line.startswith("* "):
            line = line[2:]
        elif line.strip() == "*":
            line = ""
        elif line.startswith(" "):
            line = line[1:]
        out.append(line)
    while out and not out[0].strip():
        out.pop(0)
    while out and not out[-1].strip():
        out.pop()
    return out


def paragraphs(lines):
    """Groups comment lines into ('prose', text) and ('code', lines) blocks:
    lines indented by two spaces or more are shown as written."""
    blocks, prose, code = [], [], []

    def flush():
        if prose:
            blocks.append(("prose", " ".join(prose)))
            prose.clear()
        if code:
            blocks.append(("code", list(code)))
            code.clear()

    for line in lines:
        if not line.strip():
            flush()
        elif line.startswith("  "):
            if prose:
                flush()
            code.append(line[2:])
        else:
            if code:
                flush()
            prose.append(line.strip())
    flush()
    return blocks


class Function:
    def __init__(self, decl, contract, note):
        self.decl = " ".join(decl.replace("ANVIL_API", "").split())
        # Attributes such as a printf-format marker follow the parameter list.
        depth, end = 0, None
        for i, ch in enumerate(self.decl):
            if ch == "(":
                depth += 1
            elif ch == ")":
                depth -= 1
                if depth == 0:
                    end = i
                    break
        self.decl = self.decl[: end + 1] + ";"
        head, _, rest = self.decl.partition("(")
        m = re.match(r"(.*?)(\w+)\s*$", head)
        self.ret, self.name = m.group(1).strip(), m.group(2)
        self.params = split_params(rest[:-2])
        self.contract = contract
        self.note = note
        self.group = []  # the functions sharing this contract, self included
        self.aliases = []  # exported names a header redirects to this one

    @property
    def void(self):
        return self.ret == "void"

    def param_names(self):
        names = []
        for p in self.params:
            m = re.search(r"\(\s*\*\s*(\w+)\s*\)", p) or re.search(r"(\w+)\s*(\[\s*\])?$", p)
            if m and p not in ("void", "..."):
                names.append(m.group(1))
        return names


def split_params(text):
    params, depth, cur = [], 0, ""
    for ch in text:
        if ch == "," and depth == 0:
            params.append(cur.strip())
            cur = ""
            continue
        depth += ch == "("
        depth -= ch == ")"
        cur += ch
    if cur.strip():
        params.append(cur.strip())
    return params


class Family:
    def __init__(self, path, include_dir):
        self.header = os.path.relpath(path, include_dir)
        self.name = os.path.splitext(os.path.basename(path))[0]
        self.functions = []
        self.types = []  # (name, text, comment)
        with open(path, encoding="utf-8") as f:
            self.parse(f.read().splitlines())

    def parse(self, lines):
        i = 0
        while i < len(lines) and not lines[i].lstrip().startswith("/*"):
            i += 1
        start = i
        while i < len(lines) and "*/" not in lines[i]:
            i += 1
        text = comment_text(lines[start : i + 1])
        blocks = paragraphs(text)
        self.title = blocks[0][1] if blocks and blocks[0][0] == "prose" else self.name
        self.body = blocks[1:]

        in_decls, comment, note, last_decl = False, None, None, None
        i += 1
        while i < len(lines):
            line = lines[i].strip()
            if line == "ANVIL_BEGIN_DECLS":
                in_decls = True
            elif line == "ANVIL_END_DECLS":
                in_decls = False
            elif not in_decls:
                pass
            elif not line:
                if comment is not None and last_decl is None:
                    note = " ".join(comment)  # a comment standing alone covers what follows
                comment, last_decl = None, None
            elif line.startswith("/*"):
                start = i
                while "*/" not in lines[i]:
                    i += 1
                comment = comment_text(lines[start : i + 1])
                last_decl = None
            elif line.startswith(("ANVIL_API", "typedef")) or re.match(r"struct \w+ \{", line):
                start, depth = i, 0
                while True:
                    depth += lines[i].count("{") - lines[i].count("}")
                    if depth == 0 and lines[i].rstrip().endswith(";"):
                        break
                    i += 1
                text = "\n".join(lines[start : i + 1])
                contract = " ".join(comment) if comment else None
                if not line.startswith("ANVIL_API"):
                    m = (re.match(r"struct (\w+) \{", line) or re.search(r"(\w+)\s*;\s*$", text)
                         or re.search(r"\(\s*\*\s*(\w+)\s*\)", text))
                    self.types.append((m.group(1), text, contract))
                    last_decl = None
                else:
                    fn = Function(text, contract, note)
                    # A declaration in another preprocessor branch that sends
                    # the same name to another symbol ("__asm__(\"x_time64\")").
                    first = next((f for f in self.functions if f.name == fn.name), None)
                    if first is not None:
                        m = re.search(r'__asm__\s*\(\s*"(\w+)"', text)
                        if m:
                            first.aliases.append(m.group(1))
                        i += 1
                        continue
                    if last_decl is not None and last_decl.contract == contract:
                        fn.group = last_decl.group
                    fn.group.append(fn)
                    self.functions.append(fn)
                    last_decl = fn
                if last_decl is None:
                    comment = None
            i += 1

    def types_for(self, fn):
        used = []
        for name, text, comment in self.types:
            if any(re.search(r"\b%s\b" % name, g.decl) for g in fn.group):
                used.append((name, text, comment))
        return used


# ---------------------------------------------------------------- sections


# Contracts open with a verb ("Appends the piece ...") or with a noun phrase
# naming the result ("The number of stored elements.").
VERB_LEADS = {"As", "Insert", "Remove", "Set", "Clear", "Exchange", "Take", "Add"}
NOUN_LEADS = {"Bytes"}


def lead_is_noun(sentence):
    word = sentence.split()[0].rstrip(",:")
    if word in VERB_LEADS:
        return False
    if word in NOUN_LEADS:
        return True
    return not (word.endswith("s") and word[:1].isupper() and not word.endswith("'s"))


def return_value(fn):
    """The sentences of the contract that say what comes back."""
    if fn.void:
        verb = "return" if len(fn.group) > 1 else "returns"
        return ["%s %s no value." % (names_phrase(fn), verb)], True
    sents = sentences(fn.contract or "")
    picked = [s for s in sents if RETURN_RE.search(s)]
    if sents and lead_is_noun(sents[0]) and sents[0] not in picked:
        first = sents[0]
        if first.split()[0] in ("A", "An", "The"):
            first = "Returns " + first[0].lower() + first[1:]
        elif not first[0].isupper():
            first = "Returns " + first
        picked.insert(0, first)
    return picked, bool(picked)


def split_top(text, seps):
    """Splits text at the separators that stand outside parentheses."""
    parts, depth, cur = [], 0, ""
    for ch in text:
        depth += (ch == "(") - (ch == ")")
        if ch in seps and depth == 0:
            parts.append(cur.strip())
            cur = ""
        else:
            cur += ch
    return [p for p in parts + [cur.strip()] if p]


def error_entries(fn, family):
    """(code, explanation) for each errno the contract names, then what the
    contract says of errno otherwise, then the family's rules as a fallback."""
    text = " ".join(t for t in (fn.contract, fn.note) if t)
    entries, seen, extra = [], set(), []
    for sent in sentences(text):
        # A sentence naming a code without a failure in it ("Across file
        # systems (EXDEV) it copies") describes something else.
        if not re.search(r"-1|NULL|errno|error|fail|gives|with -?E[A-Z]", sent):
            continue
        for code in codes_in(sent):
            # "retrying EINTR", "other than ESRCH", "ENOENT counts as done" are no errors.
            if code in seen or re.search(r"\b(retr(y|ies|ying)|other than) %s|%s counts as" % (code, code), sent):
                continue
            seen.add(code)
            entries.append((code, explain(code, sent)))
    for sent in sentences(text):
        if not re.search(r"errno|\bfail", sent):
            continue
        m = re.search(r"((?:\b[\w()]+'s(?:,|\s+or|\s+and)?\s+)+)errno", sent) or \
            re.search(r"errno:? (?:that )?of (?:a |the )?(?:failed )?([^;:.(]+?)\s*(?:[;:.(]|$)", sent)
        source = m and m.group(1).replace("'s", "").strip()
        if entries and m:
            extra.append("Any other failure leaves the errno of %s." % source)
        elif m and RETURN_RE.match(sent):
            extra.append("On failure errno is that of %s." % source)
        elif not codes_in(sent):
            extra.append(sent)

    # "-1 as recvFdAndDataByUnSock", "EPIPE as for lsystem": that function's
    # explanations serve here too.
    for m in re.finditer(r"\bas (?:for )?(\w+)", text):
        other = next((f for f in family.functions if f.name == m.group(1) and f is not fn), None)
        if other is None:
            continue
        theirs = dict(error_entries(other, family)[0])
        entries = [(c, theirs.get(c, why)) for c, why in entries]
        if not entries:
            entries = list(theirs.items())
    if not entries and not extra and fn.void:
        extra.append("None: %s %s no errors." % (names_phrase(fn), "report" if len(fn.group) > 1 else "reports"))
    if not entries and not extra:
        for kind, block in family.body:
            if kind == "prose":
                extra += [s for s in sentences(block) if re.search(r"errno|\bfail", s)]
    return entries, list(dict.fromkeys(c if c.endswith(".") else c + "." for c in extra))


FILLER = {"with", "errno", "NULL", "-1", "0", "or", "and", "Returns", "Return", "returns", "to"}


def explain(code, sentence):
    """The contract's own words for when code is set, or else strerror's."""
    text = next(c for c in split_top(sentence, ";") if code in c)
    # Inside parentheses, only the list item holding the code speaks of it:
    # "the errno of open (ENOENT, EACCES)", "(EPERM, EINVAL for a bad signal)".
    at, depth, opened = text.index(code), 0, None
    for i in range(at - 1, -1, -1):
        depth += (text[i] == ")") - (text[i] == "(")
        if depth < 0:
            opened = i
            break
    if opened is not None:
        close, depth = len(text), 0
        for i in range(opened, len(text)):
            depth += (text[i] == "(") - (text[i] == ")")
            if depth == 0:
                close = i
                break
        text = next(c for c in split_top(text[opened + 1 : close], ",;") if code in c)

    before, after = text[: text.index(code)], text[text.index(code) + len(code) :].strip()
    m = re.match(r"\(([^)]*)\)", after)
    if m and re.search(r"[:,]\s*-?$", before):  # a list: "-1: ENAMETOOLONG (...), EPIPE (...)"
        why = m.group(1)
    else:
        m = re.match(r"((?:when|if|for|on|from)\b.*?)(?=,?\s*(?:-?NULL|-1|0) with\b|,?\s*or with\b"
                     r"|,?\s*(?:or\s+)?-?E[A-Z]{2,}\b|,\s*\w+'s\b|,\s*(?:or\s+)?with\b|$)", after)
        if m and m.group(1).strip():
            why = m.group(1)
        elif after and re.match(r"(-1 with:?)?\s*$|.*:\s*$", before) and not re.match(r"(is|are)\b", after):
            why = after  # a table row: "ECONNRESET  the peer has closed"
        else:
            rest = [w for w in re.findall(r"[\w'-]+", text.replace(code, "")) if w not in FILLER]
            if RETURN_RE.search(text) or len(rest) < 2:
                return os.strerror(getattr(errno, code)) + "."
            why = text
    why = why.strip().rstrip(",.;:")
    if why.endswith(")") and why.count(")") > why.count("("):
        why = why[:-1]
    if not why:
        return os.strerror(getattr(errno, code)) + "."
    return why[0].upper() + why[1:] + "."


def names_phrase(fn):
    return " and ".join("%s()" % g.name for g in fn.group) if len(fn.group) > 1 else "%s()" % fn.name


def short_description(fn):
    if not fn.contract:
        return fn.name
    first = sentences(fn.contract)[0].rstrip(".")
    for stop in ("; ", ": ", " ("):
        if len(first) > 70 and stop in first:
            first = first.split(stop)[0]
    if len(first) > 90:
        first = first[:90].rsplit(", ", 1)[0]
    if first.split()[0] in ("A", "An", "The") or not lead_is_noun(first):
        first = first[0].lower() + first[1:]
    return first


# ---------------------------------------------------------------- roff


def roff_escape(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return text


def roff_line(text):
    return "\\&" + text if text[:1] in (".", "'") else text


def roff_prose(text, fn, all_names):
    text = roff_escape(text)
    params = set()
    for g in fn.group:
        params.update(g.param_names())

    def word(m):
        w = m.group(0)
        if w in all_names:
            return "\\fB%s\\fP" % w
        if w in params:
            return "\\fI%s\\fP" % w
        return w

    text = re.sub(r"(?<![\w>.\\])[A-Za-z_]\w*(?![\w])", word, text)
    return roff_line(text)


def roff_synopsis(fn):
    out = []
    for g in fn.group:
        head = "%s%s%s(" % (g.ret, "" if g.ret.endswith("*") else " ", g.name)
        parts = ['.BI "%s' % roff_escape(head)]
        indent = " " * len(head)
        line_len = len(head)
        for i, p in enumerate(g.params):
            sep = ");" if i == len(g.params) - 1 else ","
            m = re.match(r"(.*?)(\w+)$", p)
            if line_len + len(p) > 76 and i > 0:
                parts.append('\n.BI "%s' % indent)
                line_len = len(indent)
            if p in ("void", "...") or not m or "(" in p:
                parts.append(roff_escape(p).replace('"', "\\(dq") + sep + (" " if sep == "," else ""))
            else:
                typ, name = m.group(1), m.group(2)
                parts.append('%s" %s "%s' % (roff_escape(typ), name, sep + (" " if sep == "," else "")))
            line_len += len(p) + 2
        text = "".join(parts) + '"'
        out.append(text.replace(' ""', ""))
    return out


def man_page(fn, family, all_names, version, title=None):
    names = [g.name for g in fn.group] + [a for g in fn.group for a in g.aliases]
    lines = [
        '.TH %s 3 "" "libanvil %s" "libanvil Manual"' % (title or fn.name, version),
        ".SH NAME",
        roff_escape(", ".join(names)) + " \\- " + roff_escape(short_description(fn)),
        ".SH LIBRARY",
        "The anvil utility library (\\fIlibanvil\\fP, \\fI\\-lanvil\\fP)",
        ".SH SYNOPSIS",
        ".nf",
        ".B #include <anvil/%s>" % family.header,
        ".PP",
    ]
    for name, text, comment in family.types_for(fn):
        for t in text.splitlines():
            lines.append(roff_line(roff_escape(t)))
        lines.append(".PP")
    lines += roff_synopsis(fn)
    lines.append(".fi")

    lines.append(".SH DESCRIPTION")
    for text in (fn.note, fn.contract):
        if text:
            lines.append(roff_prose(" ".join(text.split()), fn, all_names))
            lines.append(".PP")
    for name, text, comment in family.types_for(fn):
        if comment:
            lines.append(roff_prose("%s: %s" % (name, " ".join(comment.split())), fn, all_names | {name}))
            lines.append(".PP")
    if lines[-1] == ".PP":
        lines.pop()

    lines.append(".SH RETURN VALUE")
    rv, _ = return_value(fn)
    lines.append(roff_prose(" ".join(rv) or "Not stated.", fn, all_names))

    lines.append(".SH ERRORS")
    entries, extra = error_entries(fn, family)
    for code, why in entries:
        lines += [".TP", ".B " + code, roff_prose(why, fn, all_names)]
    if extra:
        if entries:
            lines.append(".PP")
        lines.append(roff_prose(" ".join(extra), fn, all_names))

    if family.body:
        lines.append(".SH NOTES")
        first = True
        for kind, block in family.body:
            if not first:
                lines.append(".PP")
            first = False
            if kind == "prose":
                lines.append(roff_prose(block, fn, all_names))
            else:
                lines += [".RS", ".nf"] + [roff_line(roff_escape(l)) for l in block] + [".fi", ".RE"]

    others = [f.name for f in family.functions if f not in fn.group]
    mentioned = [n for n in all_names if n not in others and fn.name != n
                 and re.search(r"\b%s\b" % n, (fn.contract or "") + (fn.note or ""))]
    refs = sorted(set(mentioned)) + others
    if refs:
        lines.append(".SH SEE ALSO")
        lines.append(",\n".join(".BR %s (3)" % roff_escape(r) for r in refs))
    return "\n".join(lines) + "\n"


# ---------------------------------------------------------------- markdown


def md_prose(text, all_names):
    def piece(m):
        w = m.group(0)
        if w in all_names or w in ERRNO_NAMES:
            return "`%s`" % w
        return w.replace("_", "\\_")

    text = " ".join(text.split())
    text = text.replace("\\", "\\\\").replace("*", "\\*").replace("<", "\\<").replace("`", "\\`")
    return re.sub(r"[A-Za-z_]\w*", piece, text)


def md_page(family, all_names):
    out = ["# %s" % family.title.rstrip("."), "", "```c", "#include <anvil/%s>" % family.header, "```", ""]
    for kind, block in family.body:
        out += ([md_prose(block, all_names)] if kind == "prose" else ["```"] + block + ["```"]) + [""]
    if family.types:
        out += ["## Types", ""]
        for name, text, comment in family.types:
            out += ["```c", text, "```", ""]
            if comment:
                out += [md_prose(comment, all_names), ""]
    out += ["## Functions", ""]
    done, note = set(), None
    for fn in family.functions:
        if fn.name in done:
            continue
        done.update(g.name for g in fn.group)
        if fn.note != note and fn.note:
            out += [md_prose(fn.note, all_names), ""]
        note = fn.note
        out += ["### " + ", ".join("`%s`" % g.name for g in fn.group), "", "```c"]
        out += [g.decl for g in fn.group] + ["```", ""]
        if fn.contract:
            out += [md_prose(fn.contract, all_names), ""]
        out += ["Manual: " + ", ".join("`man 3 %s`" % g.name for g in fn.group), ""]
    return "\n".join(out)


def md_index(families):
    out = ["# libanvil reference", "", "One page per family; each function also has a section 3 man page.", ""]
    for fam in families:
        out.append("- [`<anvil/%s>`](%s.md): %s" % (fam.header, fam.name, fam.title))
    return "\n".join(out) + "\n"


# ---------------------------------------------------------------- main


def exported(map_path):
    with open(map_path, encoding="utf-8") as f:
        text = re.sub(r"/\*.*?\*/", "", f.read(), flags=re.S)
    body = text.split("global:", 1)[1].split("local:", 1)[0]
    return [n.strip() for n in body.split(";") if n.strip()]


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("include_dir")
    ap.add_argument("out_dir")
    ap.add_argument("--map")
    ap.add_argument("--version", default="")
    ap.add_argument("--strict", action="store_true")
    args = ap.parse_args()

    hdr_dir = os.path.join(args.include_dir, "anvil")
    families = [Family(os.path.join(hdr_dir, h), hdr_dir) for h in sorted(os.listdir(hdr_dir))
                if h.endswith(".h")]
    families = [f for f in families if f.functions]
    all_names = {fn.name for fam in families for fn in fam.functions}
    all_names |= {a for fam in families for fn in fam.functions for a in fn.aliases}

    problems = []
    man_dir, md_dir = os.path.join(args.out_dir, "man3"), os.path.join(args.out_dir, "md")
    os.makedirs(man_dir, exist_ok=True)
    os.makedirs(md_dir, exist_ok=True)
    for fam in families:
        for fn in fam.functions:
            where = "%s: %s" % (fam.header, fn.name)
            if not fn.contract:
                problems.append("%s: no contract comment" % where)
            if not return_value(fn)[1]:
                problems.append("%s: the contract does not say what it returns" % where)
            entries, extra = error_entries(fn, fam)
            if not entries and not extra:
                problems.append("%s: the contract does not say how it fails, or that it cannot" % where)
            write(os.path.join(man_dir, fn.name + ".3"), man_page(fn, fam, all_names, args.version))
            for alias in fn.aliases:
                write(os.path.join(man_dir, alias + ".3"),
                      man_page(fn, fam, all_names, args.version, title=alias))
        write(os.path.join(md_dir, fam.name + ".md"), md_page(fam, all_names))
    write(os.path.join(md_dir, "index.md"), md_index(families))
    # Pages of functions that are gone must not linger from an earlier run.
    for d in (man_dir, md_dir):
        for name in os.listdir(d):
            if os.path.join(d, name) not in WRITTEN:
                os.remove(os.path.join(d, name))

    if args.map:
        for name in exported(args.map):
            if name not in all_names:
                problems.append("%s: exported, but declared in no public header" % name)
    for p in problems:
        print(("error: " if args.strict else "warning: ") + p, file=sys.stderr)
    return 1 if problems and args.strict else 0


WRITTEN = set()


def write(path, text):
    """Rewrites a file only when its text changes, so builds stay quiet."""
    WRITTEN.add(path)
    try:
        with open(path, encoding="utf-8") as f:
            if f.read() == text:
                return
    except OSError:
        pass
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)


if __name__ == "__main__":
    sys.exit(main())
