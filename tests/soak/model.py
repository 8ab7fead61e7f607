"""What must be installed, as far as it can be known after requests that were killed or ran out of space."""

import threading

PRESENT, ABSENT, UNKNOWN = "present", "absent", "unknown"


class Model:
    """Facts about (container, name) pairs. A fact is taken while a request changes it."""

    def __init__(self):
        self._facts = {}
        self._taken = set()
        self._lock = threading.Lock()

    def add(self, fact):
        """A name that no request has put into the container yet."""
        self._facts[fact] = ABSENT

    def take(self, choose):
        """Takes the fact that `choose` picks of those that are free; None when none is."""
        with self._lock:
            free = sorted(set(self._facts) - self._taken)
            if not free:
                return None
            fact = choose(free)
            self._taken.add(fact)
            return fact

    def give_back(self, fact, state):
        """Ends a request: what is known now."""
        with self._lock:
            self._facts[fact] = state
            self._taken.discard(fact)

    def state(self, fact):
        """What is known of a fact."""
        return self._facts[fact]

    def compare(self, container, found):
        """Names whose state contradicts what was found; what was unknown is known afterwards."""
        wrong = []
        for fact, state in sorted(self._facts.items()):
            if fact[0] != container:
                continue
            seen = PRESENT if fact[1] in found else ABSENT
            if state not in (UNKNOWN, seen):
                wrong.append(f"{fact[1]} is {seen}, must be {state}")
            self._facts[fact] = seen
        return wrong
