Jürgen
WS-1
Friday, May 01, 2026 09:30:00