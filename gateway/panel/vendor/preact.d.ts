export * from "preact";
