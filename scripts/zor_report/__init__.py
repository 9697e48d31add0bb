"""Reads crash reports and state reports of programs that use zor; see zor-report(1)."""

VERSION = "@PROJECT_VERSION@"  # filled in where the program is installed
