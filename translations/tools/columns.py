"""How many columns a text takes on a console."""

import unicodedata

TAB = 8


def width_of(character, wide):
    if unicodedata.combining(character) or unicodedata.category(character) in {"Mn", "Me", "Cf"}:
        return 0
    return 2 if unicodedata.east_asian_width(character) in ("WFA" if wide else "WF") else 1


def end_of(text, wide, begin=0):
    """The column behind a text of one line that begins in the given column, the first being 0."""
    column = begin
    for character in text:
        column = (column // TAB + 1) * TAB if character == "\t" else column + width_of(character, wide)
    return column
