#!/usr/bin/env python3
"""Seeded generator of synthetic PO projects for the benchmark.

gen_project.py project DIR NAME COMPONENTS MEGABYTES [--seed N]
    DIR/NAME.db listing COMPONENTS components and one DIR/<component>.pos
    each, MEGABYTES in all, component sizes spread like a real project's
    (a few large machines, many small ones).
gen_project.py file PATH MEGABYTES [--seed N]
    one PO file of about MEGABYTES.
gen_project.py tag PATH KILOBYTES GOALS
    one PO file of one obligation whose Tag is KILOBYTES long, over GOALS
    bare goals (what a goal shares with its obligation, at its largest).
The same arguments and seed give the same bytes.
"""
import argparse
import random

MECHANISMS = ["PP", "Kp", "ml", "Atelier", "smt"]
DRIVERS = {"PP": ["pp", "ml"], "Kp": ["z3", "cvc5", "alt-ergo"], "ml": ["ml"],
           "Atelier": ["pr", "pp", "ml"], "smt": ["z3", "cvc5", "veriT"]}
GOAL_STATUS = ["Proved"] * 70 + ["Unproved"] * 18 + ["UnreliablyProved"] * 4 + \
    ["Disproved"] * 2 + ["Unknown"] * 1 + ["Proved(0)"] * 5
MECH_STATUS = ["Proved"] * 50 + ["Unproved"] * 30 + ["Unknown"] * 10 + \
    ["UnreliablyProved"] * 5 + ["Disproved"] * 5
STATES = ["Proved(0)", "Proved(1)", "Proved(2)", "Proved(3)", "Proved(Util)"] + \
    ["Unproved"] * 5


def goal(rng):
    status = rng.choice(GOAL_STATUS)
    state = rng.choice(STATES)
    passes = ",".join(str(rng.randrange(4)) for _ in range(rng.randrange(4)))
    parts = ['    <Simple_Goal status="%s">\n' % status,
             '      <Proof_State passList="%s" methodList="%s" proofState="%s"/>\n'
             % (passes, rng.choice(["", "pp", "pp,ml", "force(0)"]), state)]
    if rng.random() < 0.2:
        parts.append('      <iapa><status value="%s"/></iapa>\n'
                     % rng.choice(["Valid", "Invalid", "Unknown"]))
    for mech in rng.sample(MECHANISMS, rng.choice([0, 1, 1, 2, 2, 3])):
        parts.append('      <Mechanism name="%s" status="%s">\n' % (mech, rng.choice(MECH_STATUS)))
        for drv in rng.sample(DRIVERS[mech], rng.randint(1, len(DRIVERS[mech]))):
            parts.append('        <Driver name="%s" status="%s"/>\n'
                         % (drv, rng.choice(["Proved", "Unproved", "Unknown", "Disproved"])))
        parts.append('      </Mechanism>\n')
    parts.append('    </Simple_Goal>\n')
    return "".join(parts)


def write_po(path, size, rng):
    # A pool of goals reused at random keeps generation fast; the reader sees
    # realistic variety all the same.
    pool = [goal(rng) for _ in range(2000)]
    with open(path, "w", encoding="utf-8") as out:
        out.write('<?xml version="1.0" encoding="UTF-8"?>\n<Proof_Obligations author="bench">\n')
        written, n = 0, 0
        while written < size:
            n += 1
            chunk = ['  <Proof_Obligation>\n    <Tag>Operation op_%d: preservation of invariant'
                     ' (%s)</Tag>\n' % (n, rng.choice(["local", "imported", "refined"]))]
            chunk += rng.choices(pool, k=rng.randint(1, 40))
            chunk.append('  </Proof_Obligation>\n')
            text = "".join(chunk)
            out.write(text)
            written += len(text)
        out.write('</Proof_Obligations>\n')


def write_tag(path, size, goals):
    # Every status word in turn, so that each gate finds some goals.
    status = ["Proved", "Unproved", "Proved", "Proved", "Proved", "Disproved"]
    with open(path, "w", encoding="utf-8") as out:
        out.write('<?xml version="1.0" encoding="UTF-8"?>\n<Proof_Obligations author="bench">\n')
        out.write('  <Proof_Obligation>\n    <Tag>%s</Tag>\n' % ("invariant " * size)[:size])
        for i in range(goals):
            out.write('<Simple_Goal status="%s"/>\n' % status[i % len(status)])
        out.write('  </Proof_Obligation>\n</Proof_Obligations>\n')


def main():
    p = argparse.ArgumentParser()
    p.add_argument("mode", choices=["project", "file", "tag"])
    p.add_argument("args", nargs="+")
    p.add_argument("--seed", type=int, default=1)
    a = p.parse_args()
    rng = random.Random(a.seed)
    if a.mode == "tag":
        path, kilobytes, goals = a.args
        write_tag(path, int(float(kilobytes) * 1e3), int(goals))
        return
    if a.mode == "file":
        path, megabytes = a.args
        write_po(path, int(float(megabytes) * 1e6), rng)
        return
    directory, name, components, megabytes = a.args
    components = int(components)
    weights = [rng.lognormvariate(0, 1.2) for _ in range(components)]
    total = float(megabytes) * 1e6
    names = ["%s_%03d" % (rng.choice(["M", "Ctx", "Impl", "Ref"]), i) for i in range(components)]
    with open("%s/%s.db" % (directory, name), "w", encoding="utf-8") as db:
        db.write('<?xml version="1.0" encoding="UTF-8"?>\n<db_xml>\n<project>\n')
        for comp in names:
            db.write('  <component_file name="%s" path="%s/src" suffix="mch"/>\n' % (comp, directory))
        db.write('</project>\n</db_xml>\n')
    for comp, w in zip(names, weights):
        write_po("%s/%s.pos" % (directory, comp), int(total * w / sum(weights)), rng)


if __name__ == "__main__":
    main()
