"""The list of mutants that no test can or does tell from the product, each with its reason.

    FILE | OPERATOR | SOURCE LINE | BEFORE -> AFTER [| OCCURRENCE]
        equivalent: why nothing that the interface promises changes
        survives: why there is no test

"..." stands for any text. An entry without a mutant is an error of a complete run: the source has moved on.
"""
import re
from dataclasses import dataclass
from pathlib import Path


@dataclass
class Verdict:
    line: int
    key: str
    kind: str
    reason: str
    used: int = 0

    def matches(self, key):
        return re.fullmatch('.*'.join(re.escape(piece) for piece in self.key.split('...')), key) is not None


def read(path):
    verdicts = []
    pending = []
    for number, line in enumerate(Path(path).read_text().splitlines(), 1):
        if not line.strip() or line.startswith('#'):
            continue
        if not line.startswith(' '):
            if line.count(' | ') < 3:
                raise SystemExit(f'{path}:{number}: not FILE | OPERATOR | SOURCE LINE | BEFORE -> AFTER')
            if pending and pending[-1].kind:
                pending = []
            pending.append(Verdict(number, line.strip(), '', ''))
            verdicts.append(pending[-1])
        else:
            kind, _, reason = line.strip().partition(': ')
            if not pending:
                raise SystemExit(f'{path}:{number}: a reason without a mutant')
            for verdict in pending:
                if kind in ('equivalent', 'survives') and not verdict.kind:
                    verdict.kind, verdict.reason = kind, reason
                elif verdict.kind:
                    verdict.reason += ' ' + line.strip()
                else:
                    raise SystemExit(f'{path}:{number}: a reason begins with "equivalent: " or "survives: "')
    for verdict in verdicts:
        if not verdict.kind:
            raise SystemExit(f'{path}:{verdict.line}: no reason')
    return verdicts


def verdict_on(mutant, verdicts):
    for verdict in verdicts:
        if verdict.matches(mutant.key()):
            verdict.used += 1
            return verdict
    return None
