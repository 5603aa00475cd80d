# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""LibreOffice: what was pasted is read from the document, which is saved in its flat XML form."""

import html
import re

from . import material
from .browsers import has_native
from .desk import free_folder
from .screen import need, wait
from .trial import Program

HEAD = """<?xml version="1.0" encoding="UTF-8"?>
<office:document xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0"
 xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0"
 xmlns:table="urn:oasis:names:tc:opendocument:xmlns:table:1.0"
 xmlns:style="urn:oasis:names:tc:opendocument:xmlns:style:1.0"
 xmlns:fo="urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0"
 office:version="1.3" office:mimetype="application/vnd.oasis.opendocument.%s">
<office:automatic-styles><style:style style:name="B" style:family="text">
<style:text-properties fo:font-weight="bold"/></style:style></office:automatic-styles>
<office:body>"""
SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>
<oor:items xmlns:oor="http://openoffice.org/2001/registry">%s</oor:items>"""
QUIET = {
    ("Common/Save/Document", "WarnAlienFormat"): "false",
    ("Common/Misc", "FirstRun"): "false",
    ("Common/Misc", "ShowTipOfTheDay"): "false",
    ("Setup/Product", "LastTimeGetInvolvedShown"): "9999999999",
    ("Setup/Product", "LastTimeDonateShown"): "9999999999",
    ("Setup/Product", "WhatsNew"): "false",
}


def text_document(*paragraphs):
    body = "".join(f"<text:p>{each}</text:p>" for each in paragraphs)
    return HEAD % "text" + f"<office:text>{body}</office:text></office:body></office:document>"


def sheet(rows):
    cells = "".join("<table:table-row>" + "".join(
        f'<table:table-cell office:value-type="string"><text:p>{html.escape(cell)}</text:p>'
        "</table:table-cell>" for cell in row) + "</table:table-row>" for row in rows)
    return (HEAD % "spreadsheet" + f'<office:spreadsheet><table:table table:name="S">{cells}'
            "</table:table></office:spreadsheet></office:body></office:document>")


class Office(Program):
    """Opens a document of its own for each copy and paste."""

    kind = ""
    ending = ""

    def start(self):
        self.profile = free_folder(self.desk.folder / f"profile-{self.kind}")
        user = self.profile / "user"
        user.mkdir()
        items = "".join(
            f'<item oor:path="/org.openoffice.{"" if path.startswith("Setup") else "Office."}{path}">'
            f'<prop oor:name="{name}" oor:op="fuse"><value>{value}</value></prop></item>'
            for (path, name), value in QUIET.items())
        (user / "registrymodifications.xcu").write_text(SETTINGS % items, encoding="utf-8")
        self.folder = free_folder(self.desk.folder / f"documents-{self.kind}")
        self.window = None
        self.document = None

    def open(self, name, content):
        """Shows a document of its own, in a window of its own."""
        self.stop()
        self.document = self.folder / f"{name}.{self.ending}"
        self.document.write_text(content, encoding="utf-8")
        self.besides = {window.number for window in self.screen.windows()}
        self.process = self.desk.launch(
            "soffice", "--norestore", "--nologo", f"-env:UserInstallation={self.profile.as_uri()}",
            self.document)
        self.window = self.desk.window("libreoffice", name)
        # The window is there before the document in it takes keys.
        wait(lambda: False, 2.0)
        self.screen.activate(self.window)

    def saved(self):
        self.screen.key("ctrl+s")
        wait(lambda: False, 0.3)
        # The binary data of pictures stays out of the search for text.
        return self.document.read_text(encoding="utf-8", errors="replace")

    def dialog(self):
        """A question that the program asks instead of pasting."""
        return next((window for window in self.screen.windows()
                     if window.number not in {self.window.number, *self.besides}), None)

    def instead(self):
        dialog = self.dialog()
        if not dialog:
            return ""
        self.screen.key("Escape")
        wait(lambda: not self.dialog(), 3)
        return f"asks: {dialog.title}"

    def fresh(self, kind):
        self.open(f"paste-{kind}", self.empty())

    def empty(self):
        raise NotImplementedError

    def into(self, kind, accepts):
        self.fresh(kind)

        def seen():
            return None if self.dialog() else accepts(self.saved())
        return seen

    def paste_text(self, text):
        return self.into("text", lambda xml: text in flat(xml) and "as text")

    def paste_url(self, text):
        return self.into("url", lambda xml: text in flat(xml) and not "text:section " in xml and (
            "as a link" if "<text:a " in xml else "as text"))

    def paste_strings(self, text):
        return self.into("strings", lambda xml: text in flat(xml) and "as text")

    def paste_png(self, _):
        return self.into("png", lambda xml: "<draw:image" in xml and "as a picture")

    def paste_jpeg(self, _):
        return self.into("jpeg", lambda xml: "<draw:image" in xml and "as a picture")


def flat(xml):
    return html.unescape(re.sub(r"<[^>]*>", "", xml))


class Calc(Office):
    title = "LibreOffice Calc"
    packages = ("libreoffice-calc", "libreoffice-gtk3")
    kind, ending = "calc", "fods"

    def empty(self):
        return sheet([[""]])

    def copy_range(self, name, rows):
        self.open(name, sheet(rows))
        self.screen.key("ctrl+Home")
        self.screen.key("ctrl+shift+End")
        self.screen.key("ctrl+c")

    def copy_cells(self):
        self.copy_range("cells", material.CELLS)
        return lambda item: item.get("string", "").strip() == material.cells_text()

    def copy_some_rows(self):
        return self.copy_many(material.SOME_ROWS)

    def copy_rows(self):
        return self.copy_many(material.MANY_ROWS)

    def copy_many(self, count):
        rows = material.many_cells(count)
        self.copy_range(f"rows{count}", rows)
        return lambda item: item.get("string", "").strip() == "\n".join("\t".join(r) for r in rows)

    def paste_strings(self, text):
        """Several lines are a question of how to part them, as in any spreadsheet."""
        return self.after_its_question(super().paste_strings(text))

    def paste_url(self, text):
        """Whatever has HTML is a question of its language, as of what a browser copies."""
        return self.after_its_question(super().paste_url(text))

    def after_its_question(self, seen):
        asked = []

        def answered():
            if self.dialog() and "import" in self.dialog().title.lower():
                asked.append(self.dialog().title)
                self.screen.key("Return")
                need("end of the question", lambda: not self.dialog(), 5)
            what = seen()
            return f"{what}, after “{asked[-1]}”" if what and asked else what
        return answered


class Writer(Office):
    title = "LibreOffice Writer"
    packages = ("libreoffice-writer", "libreoffice-gtk3")
    kind, ending = "writer", "fodt"

    def empty(self):
        return text_document("")

    def copy_all(self, name, *paragraphs):
        self.open(name, text_document(*paragraphs))
        self.screen.key("ctrl+a")
        self.screen.key("ctrl+c")

    def copy_text(self):
        self.copy_all("text", html.escape(material.TEXT))
        return lambda item: item.get("string", "").strip() == material.TEXT

    def copy_styled(self):
        self.copy_all("styled", '<text:span text:style-name="B">bold</text:span> and italic')
        return lambda item: (item.get("string", "").strip() == material.STYLED
                             and has_native(item, "html"))
