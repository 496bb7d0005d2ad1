"""Reads the gateway's widgets through the pilot in its process (pilot/pilot.h)."""

import json
import socket
import threading
import types

from screen import Vanished

# Qt's names of the roles to those of AT-SPI.
ROLES = {"AlertMessage": "alert", "Application": "application", "Button": "push button",
         "Cell": "table cell", "CheckBox": "check box", "ComboBox": "combo box",
         "Dialog": "dialog", "EditableText": "text", "Graphic": "image", "ListItem": "list item",
         "RadioButton": "radio button", "SpinBox": "spin button", "StaticText": "label",
         "Table": "table"}


class Widget:
    """A widget as it was when the pilot described it."""

    def __init__(self, tree, told, top=None):
        self.tree = tree
        self.told = told
        self.top = top or self
        self.role = ROLES.get(told["role"], told["role"])
        self.name = told["name"]
        self.states = set(told["states"])
        self.labels = told["labels"]
        self.box = types.SimpleNamespace(**dict(zip(("x", "y", "width", "height"), told["box"])))
        within = None if self.role == "application" else self.top
        self.rows = [[Widget(tree, cell, within) for cell in row] for row in told.get("rows", [])]
        self.children = [Widget(tree, child, within) for child in told.get("children", [])]
        self.children += [cell for row in self.rows for cell in row]

    def all(self):
        yield self
        for child in self.children:
            yield from child.all()

    def again(self):
        for widget in self.tree.application().all():
            if widget.told["id"] == self.told["id"]:
                return widget
        raise Vanished(f"“{self.name}” is gone")

    def cell(self, row, column):
        return self.rows[row][column]

    @property
    def size(self):
        """Of a table."""
        return types.SimpleNamespace(rows=len(self.rows),
                                     columns=len(self.rows[0]) if self.rows else 0)


class Tree:
    """Listens for pilots and asks the one that connected last."""

    ahead = 0.1  # seconds

    def __init__(self):
        self.pilot = None
        self.server = socket.create_server(("127.0.0.1", 0))
        self.port = self.server.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            connection, _ = self.server.accept()
            connection.settimeout(10)
            self.pilot = connection.makefile("rw", encoding="utf-8")

    def application(self, _pid=None):
        """Its children are its windows; None while no pilot answers."""
        if not self.pilot:
            return None
        try:
            self.pilot.write("\n")
            self.pilot.flush()
            line = self.pilot.readline()
        except OSError:
            line = ""
        return Widget(self, json.loads(line)) if line else None
