"""Figures beside their budgets, in one form for every script that measures."""

missed = []


def report(what, figure, budget, unit="", at_least=False):
    good = figure >= budget if at_least else figure <= budget
    print_line(what, f"{figure:8.2f} {unit:3} at {'least' if at_least else 'most'} {budget:g}", good)


def report_list(what, found, wanted):
    """For what has to be exactly as wanted."""
    print_line(what, f"{len(found):8}     exactly {len(wanted)}, these:", found == wanted)
    for line in found:
        print("   ", line)


def print_line(what, figure, good):
    if not good:
        missed.append(what)
    print(f"{what:58} {figure}{'' if good else '  MISSED'}")


def exit_status():
    return 1 if missed else 0
