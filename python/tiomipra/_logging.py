"""Records of the library as records of ``logging``."""

import logging


def deliver(category: str, level: int, message: str, function: str, created: float) -> None:
    """Hand a record to the logger of its category, with the time at which it was made."""
    logger = logging.getLogger(category)
    if not logger.isEnabledFor(level):
        return
    record = logger.makeRecord(category, level, "", 0, "%s", (message,), None, function)
    record.created = created
    record.msecs = created % 1 * 1000
    logger.handle(record)
