"""What the end-to-end scripts share."""
