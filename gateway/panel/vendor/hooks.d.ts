export * from "preact/hooks";
