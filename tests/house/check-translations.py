#!/usr/bin/env python3
"""Checks that the Russian catalogue is complete and fits the texts of the sources."""

import collections
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml

# A context and the other one whose texts are on the screen at the same time.
TOGETHER = {"RegistrationWizard": "CloudPage"}


def messages(file):
    """(context, source, comment) to the translation's element."""
    return {(context.findtext("name"), message.findtext("source"), message.findtext("comment")):
            message.find("translation")
            for context in xml.parse(file).iter("context") for message in context.iter("message")}


def shape(text):
    """The parts of a text that its translation must have too."""
    text = text.replace("...", "…")
    return (sorted(re.findall(r"%(?:L?\d+|n)", text)), sorted(re.findall(r"<[^>]*>", text)),
            text.startswith(" "), text.endswith(" "), text[-1:] if text[-1:] in ":…" else "",
            re.findall(r"\(\*[^)]*\)", text), len(keys(text)))


def keys(text):
    return re.findall(r"&(\w)", text.lower())


def faults(committed, current):
    """One line for each; `current` is the committed catalogue after lupdate."""
    for message in current.keys() - committed.keys():
        yield f"not in the catalogue: {message}"
    for message in committed.keys() - current.keys():
        yield f"no longer in the sources: {message}"
    pages = collections.defaultdict(list)
    for message, translation in current.items():
        context, source, _ = message
        texts = [form.text or "" for form in translation.iter() if len(form) == 0]
        if translation.get("type") or not all(texts):
            yield f"not translated: {message}"
            continue
        if any(shape(text) != shape(source) for text in texts):
            yield f"of another shape: {message}: {texts}"
        page = TOGETHER.get(context, context)
        pages[page, "English"] += keys(source)
        pages[page, "Russian"] += keys(texts[0])
    for page, used in pages.items():
        for key, count in collections.Counter(used).items():
            if count > 1:
                yield f"{count} controls of {' in '.join(page)} answer to Alt+{key}"


def main(root, lupdate):
    catalogue = pathlib.Path(root, "resources", "lang", "kvg-gate_ru.ts")
    with tempfile.TemporaryDirectory() as folder:
        copy = shutil.copy(catalogue, folder)
        subprocess.run(["sh", catalogue.with_name("update.sh"), copy], check=True,
                       stdout=subprocess.DEVNULL, env={**os.environ, "LUPDATE": lupdate})
        found = sorted(faults(messages(catalogue), messages(copy)))
    print(*found, sep="\n")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
