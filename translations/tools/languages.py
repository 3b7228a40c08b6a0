"""The languages of the product's language table but English, with all that differs between them."""

import dataclasses
import pathlib

FOLDER = pathlib.Path(__file__).resolve().parent.parent


@dataclasses.dataclass(frozen=True)
class Language:
    """code: the PO file's name and its header's Language; name: the translation file's base name; id: the number that
    the registry value Language takes; pages: the usual code pages of console and Windows; wide: whether letters that
    are narrow or wide by their surroundings take two columns on a console of that language."""

    code: str
    name: str
    id: int
    pages: tuple
    wide: bool = False

    @property
    def po(self):
        return FOLDER / f"{self.code}.po"


LANGUAGES = (
    Language("es", "Spanish", 1034, (850, 1252)),
    Language("fr", "French", 1036, (850, 1252)),
    Language("de", "German", 1031, (850, 1252)),
    Language("ja", "Japanese", 1041, (932,), wide=True),
    Language("zh_CN", "Chinese", 4, (936,), wide=True),
)


def find(code):
    """The language of a PO file's code, or None."""
    return next((language for language in LANGUAGES if language.code == code), None)
