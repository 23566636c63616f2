# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""Results that were changed after their run, with a record that says nothing of it."""

import hashlib
import json


def seal(folder):
    """Give run.json the sizes and checksums that the files of the run have now."""
    record = json.loads((folder / "run.json").read_text())
    for file in record["files"]:
        if (folder / file["name"]).exists():
            data = (folder / file["name"]).read_bytes()
            file |= {"bytes": len(data), "sha256": hashlib.sha256(data).hexdigest()}
    (folder / "run.json").write_text(json.dumps(record, indent=2))
