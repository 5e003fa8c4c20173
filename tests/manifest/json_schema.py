# json_schema - what a JSON Schema of ours refuses in a document, for the keywords that our schemas use. A keyword that it
# does not know is an error, so that no schema says more than is checked. Not a general validator: `format`, `$schema` and
# the texts for readers are passed over, references lead to `#/definitions/` only.
import re

TYPES = {"object": dict, "array": list, "string": str, "boolean": bool, "integer": int}
FOR_READERS = {"$schema", "$id", "title", "description", "definitions", "examples", "default"}


def refusals(schema, document):
    return list(_refusals(schema, document, "", schema))


def _refusals(schema, value, place, root):
    if "$ref" in schema:
        name = schema["$ref"].removeprefix("#/definitions/")
        schema = root["definitions"][name]
    for keyword, wanted in schema.items():
        if keyword in FOR_READERS:
            continue
        yield from (f"{text}" for text in _check(keyword, wanted, schema, value, place, root))


def _check(keyword, wanted, schema, value, place, root):
    inside = lambda key: f"{place}.{key}" if place else str(key)  # noqa: E731
    if keyword == "type":
        names = wanted if isinstance(wanted, list) else [wanted]
        if not any(isinstance(value, TYPES[name]) and (name == "boolean") == isinstance(value, bool) for name in names):
            yield f"{place}: is no {' or '.join(names)}"
    elif keyword == "required":
        if isinstance(value, dict):
            yield from (f"{place}: lacks {key}" for key in wanted if key not in value)
    elif keyword == "properties":
        if isinstance(value, dict):
            for key in wanted.keys() & value.keys():
                yield from _refusals(wanted[key], value[key], inside(key), root)
    elif keyword == "additionalProperties":
        if isinstance(value, dict):
            for key in value.keys() - schema.get("properties", {}).keys():
                if wanted is False:
                    yield f"{place}: has {key}"
                else:
                    yield from _refusals(wanted, value[key], inside(key), root)
    elif keyword == "propertyNames":
        if isinstance(value, dict):
            for key in value:
                yield from (f"{place}: {text}" for text in _refusals(wanted, key, "", root))
    elif keyword == "items":
        if isinstance(value, list):
            for number, item in enumerate(value):
                yield from _refusals(wanted, item, inside(number), root)
    elif keyword == "uniqueItems":
        if isinstance(value, list) and wanted and any(value.index(item) != number for number, item in enumerate(value)):
            yield f"{place}: holds an item twice"
    elif keyword == "maxItems":
        if isinstance(value, list) and len(value) > wanted:
            yield f"{place}: holds more than {wanted}"
    elif keyword == "minLength":
        if isinstance(value, str) and len(value) < wanted:
            yield f"{place}: is too short"
    elif keyword == "pattern":
        if isinstance(value, str) and not re.search(wanted, value):
            yield f"{place}: does not match {wanted}"
    else:
        raise ValueError(f"{place}: json_schema does not know {keyword}")
