"""Documents held against their schemas."""

import json
import pathlib

import jsonschema

DOCS = pathlib.Path(__file__).parent.parent.parent / "docs"
SCHEMA = json.loads((DOCS / "simhost.schema.json").read_text())
jsonschema.Draft202012Validator.check_schema(SCHEMA)
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)

TEXT = {"type": "object", "properties": {"text": {"type": "string", "minLength": 1}}, "required": ["text"],
        "additionalProperties": False}
PLACE = {
    "type": "object",
    "properties": {
        "physicalLocation": {
            "type": "object",
            "properties": {
                "artifactLocation": {"type": "object", "properties": {"uri": {"type": "string", "format": "uri-reference"}},
                                     "required": ["uri"], "additionalProperties": False},
                "region": {
                    "type": "object",
                    "properties": {name: {"type": "integer", "minimum": 1}
                                   for name in ("startLine", "startColumn", "endColumn")},
                    "required": ["startLine"], "additionalProperties": False}},
            "required": ["artifactLocation"], "additionalProperties": False},
        "message": TEXT},
    "required": ["physicalLocation"], "additionalProperties": False}
PLACES = {"type": "array", "items": PLACE}
# What SARIF 2.1.0 says of the members that are written; no others may be.
SARIF = {
    "type": "object",
    "properties": {
        "$schema": {"const": "https://json.schemastore.org/sarif-2.1.0.json"},
        "version": {"const": "2.1.0"},
        "runs": {"type": "array", "minItems": 1, "items": {
            "type": "object",
            "properties": {
                "tool": {"type": "object", "properties": {"driver": {
                    "type": "object",
                    "properties": {
                        "name": {"type": "string"}, "version": {"type": "string"},
                        "rules": {"type": "array", "uniqueItems": True, "items": {
                            "type": "object", "properties": {"id": {"type": "string"}, "shortDescription": TEXT},
                            "required": ["id"], "additionalProperties": False}}},
                    "required": ["name"], "additionalProperties": False}},
                    "required": ["driver"], "additionalProperties": False},
                "invocations": {"type": "array", "items": {
                    "type": "object",
                    "properties": {
                        "executionSuccessful": {"type": "boolean"},
                        "exitCode": {"type": "integer"},
                        "toolExecutionNotifications": {"type": "array", "items": {
                            "type": "object",
                            "properties": {"level": {"enum": ["none", "note", "warning", "error"]}, "message": TEXT,
                                           "locations": PLACES},
                            "required": ["message"], "additionalProperties": False}}},
                    "required": ["executionSuccessful"], "additionalProperties": False}},
                "columnKind": {"enum": ["utf16CodeUnits", "unicodeCodePoints"]},
                "results": {"type": "array", "items": {
                    "type": "object",
                    "properties": {
                        "ruleId": {"type": "string"}, "ruleIndex": {"type": "integer", "minimum": 0},
                        "level": {"enum": ["none", "note", "warning", "error"]}, "message": TEXT,
                        "locations": PLACES, "relatedLocations": PLACES},
                    "required": ["message", "locations"], "additionalProperties": False}}},
            "required": ["tool", "invocations", "results"], "additionalProperties": False}}},
    "required": ["version", "runs"], "additionalProperties": False}


def document_of(text):
    """A document of simhost, which must be one by docs/simhost.schema.json."""
    document = json.loads(text)
    VALIDATOR.validate(document)
    return document


def sarif_of(text):
    log = json.loads(text)
    jsonschema.Draft202012Validator(SARIF).validate(log)
    return log
