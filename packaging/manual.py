"""Makes the user's pages of docs/ readable without the project, as HTML files that link to each other."""

import re
import subprocess
import tempfile
import pathlib

from contents import BUILDERS_SECTION, ROOT, USER_PAGES

MANUAL = ROOT / "packaging" / "manual"


def title_of(page):
    return re.search(r"^# (.+)$", page.read_text(encoding="utf-8"), re.MULTILINE)[1]


def convert(source, destination, **variables):
    command = ["pandoc", "--from=markdown-smart-tex_math_dollars+gfm_auto_identifiers", "--to=html5", "--standalone", "--wrap=preserve",
               f"--template={MANUAL / 'page.html'}", f"--lua-filter={MANUAL / 'pages.lua'}",
               f"--metadata=pages:{' '.join(USER_PAGES)}",
               f"--metadata=omitted:{BUILDERS_SECTION}",
               f"--metadata=title:{title_of(source)}",
               *(f"--variable={name}:{value}" for name, value in variables.items()),
               f"--output={destination}", str(source)]
    subprocess.run(command, check=True)


def make(folder):
    """Writes index.html and a page for each of the user's pages into the folder."""
    folder.mkdir(parents=True)
    links = []
    for name, about in USER_PAGES.items():
        page = ROOT / "docs" / f"{name}.md"
        convert(page, folder / f"{name}.html")
        links.append(f"- [{title_of(page)}]({name}.md): {about}\n")
    with tempfile.TemporaryDirectory() as scratch:
        start = pathlib.Path(scratch) / "index.md"
        start.write_text((MANUAL / "index.md").read_text(encoding="utf-8") + "".join(links), encoding="utf-8")
        convert(start, folder / "index.html", index="true")
