"""What the programs of a display show, as they tell assistive technology."""

import types

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # pylint: disable=wrong-import-position

from screen import Vanished  # pylint: disable=wrong-import-position


def ask(question, *arguments):
    try:
        return question(*arguments)
    except GLib.Error as error:
        raise Vanished(str(error)) from error


class Widget:
    """One that is there now; each question is put to the program anew."""

    def __init__(self, accessible):
        self.accessible = accessible

    def again(self):
        return self

    @property
    def role(self):
        return ask(self.accessible.get_role_name)

    @property
    def name(self):
        return ask(self.accessible.get_name)

    @property
    def states(self):
        return {state.value_nick for state in ask(self.accessible.get_state_set).get_states()}

    @property
    def labels(self):
        return [ask(relation.get_target(index).get_name)
                for relation in ask(self.accessible.get_relation_set)
                if relation.get_relation_type() == Atspi.RelationType.LABELLED_BY
                for index in range(relation.get_n_targets())]

    @property
    def box(self):
        return ask(Atspi.Component.get_extents, self.accessible, Atspi.CoordType.SCREEN)

    @property
    def top(self):
        widget = self.accessible
        while ask(widget.get_parent).get_role_name() != "application":
            widget = ask(widget.get_parent)
        return Widget(widget)

    @property
    def children(self):
        for index in range(ask(self.accessible.get_child_count)):
            child = ask(self.accessible.get_child_at_index, index)
            if child and "showing" in Widget(child).states:
                yield Widget(child)

    def cell(self, row, column):
        return Widget(ask(self.accessible.get_accessible_at, row, column))

    @property
    def size(self):
        """Of a table."""
        return types.SimpleNamespace(rows=ask(self.accessible.get_n_rows),
                                     columns=ask(self.accessible.get_n_columns))


class Tree:
    """Needs the display's addresses in this process's environment."""

    ahead = 0

    def __init__(self):
        Atspi.init()

    def application(self, pid):
        """Its windows are its children; None while the program does not tell."""
        desktop = Atspi.get_desktop(0)
        desktop.set_cache_mask(Atspi.Cache.NONE)
        for index in range(ask(desktop.get_child_count)):
            child = ask(desktop.get_child_at_index, index)
            if child and ask(child.get_process_id) == pid:
                return Widget(child)
        return None
