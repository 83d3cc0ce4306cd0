"""Chain-node topology: the nodes and edges that lines and areas share."""
import collections


class Network:
    """Lines are added one by one; then each is a chain of edges, and where two lines run together they share them."""

    def __init__(self):
        self._lines = []
        self._users = collections.defaultdict(set)  # of the segment between two places
        self._neighbours = collections.defaultdict(set)

    def add(self, positions):
        """Returns the line's number. A ring ends where it begins."""
        number = len(self._lines)
        self._lines.append(positions)
        for a, b in zip(positions, positions[1:]):
            self._users[frozenset((a, b))].add(number)
            self._neighbours[a].add(b)
            self._neighbours[b].add(a)
        return number

    def _is_node(self, place):
        around = self._neighbours[place]
        return len(around) != 2 or len({frozenset(self._users[frozenset((place, other))]) for other in around}) > 1

    def chains(self):
        """(nodes, edges, lines): places; tuples of places; for each line its (edge, forward) in order.

        Equal networks give equal numbers: everything is numbered as the lines come.
        """
        nodes, edges, lines = {}, {}, []
        ends = {place for line in self._lines if line[0] != line[-1] for place in (line[0], line[-1])}
        for line in self._lines:
            places = line
            inner = [i for i, place in enumerate(line[:-1]) if place in ends or self._is_node(place)]
            if line[0] == line[-1]:  # a ring begins at a node, or where every ring like it does
                first = inner[0] if inner else line.index(min(line))
                places = line[first:-1] + line[:first + 1]
            breaks = [0] + [i for i in range(1, len(places) - 1) if places[i] in ends or self._is_node(places[i])]
            chain = []
            for begin, end in zip(breaks, breaks[1:] + [len(places) - 1]):
                edge = tuple(places[begin:end + 1])
                forward = edge[::-1] not in edges
                if forward:
                    edges.setdefault(edge, len(edges))
                    for place in (edge[0], edge[-1]):
                        nodes.setdefault(place, len(nodes))
                chain.append((edges[edge if forward else edge[::-1]], forward))
            lines.append(chain)
        return list(nodes), list(edges), lines
