"""A run as tables in Markdown."""


def number(value, pattern):
    return "" if value is None else format(value, pattern)


def best_peer(result):
    found = [(tool["wall_ratio"], name) for name, tool in result["tools"].items()
             if tool["kind"] == "peer" and tool.get("wall_ratio") is not None]
    return "{1} {0:.2f}".format(*min(found)) if found else ""


def wall_and_cpu(tool):
    if not tool or tool.get("wall_ratio") is None:
        return ["", ""]
    return [f"{tool['wall_ratio']:.2f}", number(tool["cpu_ratio"], ".2f")]


def target(entry):
    mark = "reached" if entry["reached"] else "**missed**"
    return f"{entry['what']} {entry['measured']:.{entry['digits']}f} of " \
           f"{entry['target']:.{entry['digits']}f} {entry['unit']}".rstrip() + f": {mark}"


def overview(results):
    rows = ["| work | cores | best peer | Kelvo, wall | CPU | targets | the result is |",
            "|---|--:|---|--:|--:|---|---|"]
    for result in results:
        cells = [result["work"], str(result["processors"]), best_peer(result),
                 *wall_and_cpu(result["tools"].get("Kelvo")),
                 "<br>".join(map(target, result["targets"])), result["check"]]
        rows.append("| " + " | ".join(cells) + " |")
    return "\n".join(rows)


def details(result):
    rows = [f"### {result['work']}", "",
            f"{result['picture']}, {result['input_bytes'] / 1024:.0f} KiB"
            + (f", {result['files']} files" if result["files"] > 1 else "")
            + f"; `{result['command']}`", ""]
    if result["failed"] or not result["tools"]:
        return "\n".join([*rows, result["check"]])
    rows += ["| program | wall ms | least | CPU ms | peak MiB | wall ratio | CPU ratio | file ratio "
             "| levels from Kelvo |", "|---|--:|--:|--:|--:|--:|--:|--:|--:|"]
    for name, tool in result["tools"].items():
        if "error" in tool:
            rows.append(f"| {name} | {tool['error'].splitlines()[0][:80]} |||||||")
            continue
        median = tool["median"]
        rows.append(" | ".join([
            f"| {name}", f"{1000 * median['wall']:.1f}", f"{1000 * tool['least']['wall']:.1f}",
            f"{1000 * median['cpu']:.1f}", f"{median['memory']:.0f}",
            number(tool["wall_ratio"], ".2f"), number(tool["cpu_ratio"], ".2f"),
            f"{tool['size_ratio']:.3f}", number(tool.get("apart"), ".2f")]) + " |")
    return "\n".join(rows)


def markdown(run):
    machine = run["machine"]
    facts = [f"- {name}: {', '.join(value) if isinstance(value, list) else value}"
             for name, value in machine.items()]
    return "\n\n".join([
        f"# {run['date']}, {machine['processor']}, {machine['cores']} cores",
        "\n".join(facts),
        f"{run['runs']} runs of each program, in turns, but {run['runs_of_slow']} of other tools that "
        f"take more than {run['slow']:.0f} s; files {run['files']}. Times are medians; "
        "ratios are medians of each run's ratio to the bare limit's run beside it"
        + (", of small pictures: **not to be quoted**" if run["quick"] else "") + ".",
        overview(run["results"]),
        *map(details, run["results"])]) + "\n"
