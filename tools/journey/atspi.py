"""Reads the widgets of a display's programs through AT-SPI, as assistive technology does."""

import types

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # pylint: disable=wrong-import-position

from screen import Vanished  # pylint: disable=wrong-import-position


def call(function, *arguments):
    """A widget that no longer exists raises Vanished."""
    try:
        return function(*arguments)
    except GLib.Error as error:
        raise Vanished(str(error)) from error


class Widget:
    """A widget of the running program; each property asks the program again."""

    unsearched = ()  # roles whose children are too many to look at; only their cells are asked for

    def __init__(self, accessible):
        self.accessible = accessible

    def again(self):
        return self

    @property
    def role(self):
        return call(self.accessible.get_role_name)

    @property
    def name(self):
        return call(self.accessible.get_name)

    @property
    def states(self):
        return {state.value_nick for state in call(self.accessible.get_state_set).get_states()}

    @property
    def labels(self):
        return [call(relation.get_target(index).get_name)
                for relation in call(self.accessible.get_relation_set)
                if relation.get_relation_type() == Atspi.RelationType.LABELLED_BY
                for index in range(relation.get_n_targets())]

    @property
    def box(self):
        return call(Atspi.Component.get_extents, self.accessible, Atspi.CoordType.SCREEN)

    @property
    def top(self):
        widget = self.accessible
        while call(widget.get_parent).get_role_name() != "application":
            widget = call(widget.get_parent)
        return Widget(widget)

    @property
    def children(self):
        if self.unsearched and self.role in self.unsearched:
            return
        for index in range(call(self.accessible.get_child_count)):
            child = call(self.accessible.get_child_at_index, index)
            if child and "showing" in Widget(child).states:
                yield Widget(child)

    def cell(self, row, column):
        return Widget(call(self.accessible.get_accessible_at, row, column))

    @property
    def size(self):
        """Of a table."""
        return types.SimpleNamespace(rows=call(self.accessible.get_n_rows),
                                     columns=call(self.accessible.get_n_columns))


class Tree:
    """Needs the addresses of display and bus in this process's environment."""

    ahead = 0

    def __init__(self):
        Atspi.init()

    def application(self, pid):
        """Its children are its windows; None while the program is not on the bus."""
        desktop = Atspi.get_desktop(0)
        desktop.set_cache_mask(Atspi.Cache.NONE)
        for index in range(call(desktop.get_child_count)):
            child = call(desktop.get_child_at_index, index)
            if child and call(child.get_process_id) == pid:
                return Widget(child)
        return None
