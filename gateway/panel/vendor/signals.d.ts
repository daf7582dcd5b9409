export * from "@preact/signals";
