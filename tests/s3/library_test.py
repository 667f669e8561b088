#!/usr/bin/env python3
"""The tests of the image library itself, on a service that speaks S3.

Usage: library_test.py STSIMAGE_TEST [GTEST_OPTION...]"""

import os
import subprocess
import sys

from s3_service import S3Service

service = S3Service()
environment = {**os.environ, **service.environment(STSIMAGE_S3_LEASE="6", STSIMAGE_S3_TIMEOUT="6", STSIMAGE_TEST_STORE="s3://images",
                                                   STSIMAGE_KILL_ROUNDS=os.environ.get("STSIMAGE_KILL_ROUNDS", "4"))}
try:
    sys.exit(subprocess.run(sys.argv[1:], env=environment, check=False).returncode)
finally:
    service.stop()
