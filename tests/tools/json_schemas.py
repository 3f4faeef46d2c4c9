"""Validates kravi's --json output against docs/schemas, if the Python module jsonschema is installed."""

import json
import os

try:
    import jsonschema
except ImportError:
    jsonschema = None

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "schemas")
PROGRESS = "progress"
LINES = {"follow"}  # verbs that print an object a line

_validators = {}
validated = {}  # objects validated against the schema of each verb


def validator(name):
    if name not in _validators:
        with open(os.path.join(FOLDER, f"kravi-{name}.schema.json"), encoding="utf-8") as file:
            schema = json.load(file)
        jsonschema.Draft202012Validator.check_schema(schema)
        _validators[name] = jsonschema.Draft202012Validator(schema)
    return _validators[name]


def shortened(value):
    """Without the middle of long lists, whose rows are all alike."""
    if isinstance(value, dict):
        return {key: shortened(member) for key, member in value.items()}
    if isinstance(value, list):
        return [shortened(row) for row in (value if len(value) <= 100 else value[:50] + value[-50:])]
    return value


def problems(name, value):
    return "\n".join(f"{'/'.join(map(str, error.absolute_path))}: {error.message[:500]}"
                     for error in validator(name).iter_errors(shortened(value)))


def check_output(verbs, arguments, out, err):
    """Raises AssertionError if the run's output does not match the schema of its verb."""
    verb = arguments[0] if arguments else None
    if jsonschema is None or verb not in verbs or {"--help", "--version"} & set(arguments):
        return
    if "--json" in arguments:
        for text in out.splitlines() if verb in LINES or _has_lines(out) else [out]:
            _hold(verb, json.loads(text))
    for line in err.splitlines():
        if line.startswith("{"):
            _hold(PROGRESS, json.loads(line))


def _has_lines(out):
    """Of several files: an object a line."""
    return len(out.splitlines()) > 1 and out.startswith('{"')


def _hold(name, value):
    wrong = problems(name, value)
    if wrong:
        raise AssertionError(f"the output of {name} does not fit its schema: {wrong}")
    validated[name] = validated.get(name, 0) + 1
