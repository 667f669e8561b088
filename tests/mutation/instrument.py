"""Writes mutants into source text: all that can be chosen at run time at once, or a single one for good."""


def _chosen(part, number, inner):
    condition = f'stspi_mutant({number})'
    if part.form in ('expression', 'literal'):
        return f'({condition} ? ({part.text}) : ({inner}))'
    if part.form == 'variable':  # of a condition
        return f'{inner}; {condition} ? !({part.text}) : static_cast<bool>({part.text})'
    if part.form == 'deleted':
        return f'{{ if (!{condition}) {inner} }}'
    return f'{{ if ({condition}) {{ {part.text} }} else {{ {inner} }} }}'


def with_switches(text, mutants):
    """The text with every one of the mutants in it, chosen by number; and those that could not be nested."""
    statement = {'deleted': 0, 'statement': 0, 'variable': 1, 'expression': 1, 'literal': 1}
    parts = sorted(((part.start, -part.end, statement[part.form], mutant.number, part)
                    for mutant in mutants for part in mutant.parts), key=lambda item: item[:4])
    overlapping = set()
    position = 0

    def render(start, end, items):
        result, at, index = [], start, 0
        while index < len(items):
            first, minus_last, _, number, part = items[index]
            last = -minus_last
            inside = index + 1
            while inside < len(items) and items[inside][0] < last:
                inside += 1
            children = []
            for item in items[index + 1:inside]:
                if -item[1] > last:
                    overlapping.add(item[3])
                else:
                    children.append(item)
            result.append(text[at:first])
            result.append(_chosen(part, number, render(first, last, children)))
            at, index = last, inside
        result.append(text[at:end])
        return ''.join(result)

    rendered = render(position, len(text), parts)
    return rendered, overlapping


def for_good(text, mutant):
    """The text with this one mutant."""
    for part in sorted(mutant.parts, key=lambda part: -part.start):
        old = text[part.start:part.end]
        if part.form == 'expression':
            new = f'({part.text})'
        elif part.form == 'variable':
            new = f'{old}; !({part.text})'
        elif part.form == 'deleted':
            new = '{ }'
        else:
            new = part.text
        text = text[:part.start] + new + text[part.end:]
    return text
