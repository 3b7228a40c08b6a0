"""The translations' one command; "./dev translate" calls it.

translate.py check [LANGUAGE FILE]   checks a language's file, or the template and every language
translate.py make LANGUAGE OUTPUT [FILE]    makes a translation file of the program, whole or not at all
translate.py update                  writes the template anew from the sources, and takes its changes into every language
translate.py list                    tells the languages: code, name of the translation file, number
"""

import pathlib
import sys

# The folder holds sources alone.
sys.dont_write_bytecode = True

import checks
import languages
import po
import template
import translation_file


def tell(path, problems):
    """Writes what is wrong, each with its place; returns whether any of it is an error."""
    try:
        shown = path.resolve().relative_to(pathlib.Path.cwd())
    except ValueError:
        shown = path
    for problem in problems:
        print(f"{shown}:{problem.line}: {'warning: ' if problem.is_warning else ''}{problem.what}", file=sys.stderr)
    return any(not problem.is_warning for problem in problems)


def language_of(code):
    language = languages.find(code)
    if language is None:
        known = ", ".join(language.code for language in languages.LANGUAGES)
        sys.exit(f'translate: there is no language "{code}"; there are {known}')
    return language


def collected():
    messages, wrong = template.collect()
    for line in wrong:
        print(line, file=sys.stderr)
    return messages, bool(wrong)


def check_template():
    """Whether the template is not what the sources say, or lacks a comment."""
    messages, wrong = collected()
    catalogue = po.read(template.TEMPLATE)
    comments = {entry.number: entry.extracted for entry in catalogue.entries}
    problems = [
        checks.Problem(entry.line, f"message {entry.number} has no comment that says where it is shown")
        for entry in catalogue.entries
        if not entry.extracted
    ]
    if po.format_catalogue(template.make(messages, comments)) != template.TEMPLATE.read_text(encoding="utf-8"):
        problems.append(checks.Problem(1, 'the sources have other messages; "./dev translate --update" mends it'))
    return tell(template.TEMPLATE, problems) or wrong


def check(arguments):
    if arguments:
        code, file = arguments
        return tell(pathlib.Path(file), checks.check_file(language_of(code), pathlib.Path(file)))
    wrong = check_template()
    for language in languages.LANGUAGES:
        wrong |= tell(language.po, checks.check_file(language, language.po))
    return wrong


def make(arguments):
    code, output, *file = arguments
    catalogue = po.read(pathlib.Path(file[0]) if file else language_of(code).po)
    made = pathlib.Path(output)
    made.parent.mkdir(parents=True, exist_ok=True)
    aside = made.with_name(made.name + ".new")
    aside.write_bytes(translation_file.make(catalogue.entries))
    aside.replace(made)
    return False


def update(_):
    messages, wrong = collected()
    if wrong:
        return True
    made = template.make(messages, {entry.number: entry.extracted for entry in po.read(template.TEMPLATE).entries})
    template.TEMPLATE.write_text(po.format_catalogue(made), encoding="utf-8")
    for language in languages.LANGUAGES:
        merged = template.merge(po.read(language.po), made)
        language.po.write_text(po.format_catalogue(merged), encoding="utf-8")
    return False


def list_languages(_):
    for language in languages.LANGUAGES:
        print(language.code, language.name, language.id)
    return False


COMMANDS = {"check": (check, (0, 2)), "make": (make, (2, 3)), "update": (update, (0,)), "list": (list_languages, (0,))}


def main(arguments):
    command, counts = COMMANDS.get(arguments[0] if arguments else "", (None, ()))
    if command is None or len(arguments) - 1 not in counts:
        sys.exit(__doc__)
    try:
        return 1 if command(arguments[1:]) else 0
    except po.PoError as error:
        sys.exit(f"{error.path}:{error}")
    except OSError as error:
        sys.exit(f"translate: {error.filename}: {error.strerror}")


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
