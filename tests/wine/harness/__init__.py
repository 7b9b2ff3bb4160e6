"""What the tests under Wine (and the demo) stand on: a Wine prefix, an HTTPS endpoint, client folders, update jobs."""
